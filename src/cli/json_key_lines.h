#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

namespace Cli {

// The line on which each key of a JSON document stands, by the key's path as messages name it
// ("components[2].file", "clips[0].overlay.items[1].fadeIn"). A parsed QJsonDocument keeps no
// positions, so a message about a field that wants its line scans the text once more.
class JsonKeyLines {
public:
    // Scans the text of a document that parsed: on broken JSON it records what it can.
    explicit JsonKeyLines(const QByteArray& json);

    // The line of the key at `path`, from 1; 0 when the document holds no such key (the last one
    // counts when an object names a key twice).
    int line(const QString& path) const { return m_lines.value(path, 0); }

private:
    QHash<QString, int> m_lines;
};

}  // namespace Cli
