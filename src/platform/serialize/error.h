#pragma once

#include <QString>
#include <stdexcept>

namespace Serialize {

// Raised for malformed or foreign archives and for misuse of the serializer. The message names the
// archive, the line and the key when they are known: "content.xml:12: key 'uniqueId': ...".
class Error : public std::runtime_error {
public:
    Error(const QString& source, qint64 line, const QString& key, const QString& what);
    explicit Error(const QString& what);

    QString source() const { return m_source; }
    qint64 line() const { return m_line; }
    QString key() const { return m_key; }

private:
    QString m_source;
    qint64 m_line = 0;
    QString m_key;
};

}  // namespace Serialize
