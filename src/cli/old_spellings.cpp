#include "cli/old_spellings.h"

#include <QJsonArray>
#include <QStringList>

#include "cli/cli_error.h"
#include "cli/json_key_lines.h"

namespace Cli {
namespace {

// Walks a document to the objects of each pattern.
class Walker {
public:
    Walker(const OldSpellings& spellings, const QByteArray& json, const QString& file)
        : m_spellings(spellings), m_json(json), m_file(file) {}

    // Renames within the objects that `segments` lead to from `object` (at `path`); true when
    // anything changed.
    bool walk(QJsonObject& object, const QStringList& segments, int at, const QString& path,
              const QString& pattern) {
        if (at == segments.size())
            return m_spellings.renameIn(object, pattern, path, m_json, m_file);
        const QString& segment = segments[at];
        const bool list = segment.endsWith(QLatin1String("[]"));
        const QString name = list ? segment.chopped(2) : segment;
        const QString inner = path.isEmpty() ? name : path + QLatin1Char('.') + name;
        const QJsonValue value = object.value(name);
        // Values of the wrong type are left for the reader, which names them.
        if (list && value.isArray()) {
            QJsonArray array = value.toArray();
            bool changed = false;
            for (int i = 0; i < array.size(); ++i) {
                if (!array.at(i).isObject())
                    continue;
                QJsonObject element = array.at(i).toObject();
                if (walk(element, segments, at + 1, QStringLiteral("%1[%2]").arg(inner).arg(i),
                         pattern)) {
                    array[i] = element;
                    changed = true;
                }
            }
            if (changed)
                object[name] = array;
            return changed;
        }
        if (!list && value.isObject()) {
            QJsonObject inside = value.toObject();
            if (!walk(inside, segments, at + 1, inner, pattern))
                return false;
            object[name] = inside;
            return true;
        }
        return false;
    }

private:
    const OldSpellings& m_spellings;
    const QByteArray& m_json;
    const QString& m_file;
};

}  // namespace

const OldSpellings& OldSpellings::recipe() {
    static const OldSpellings spellings({
        {QString(), QString(), QStringLiteral("preview"), QStringLiteral("previewPath")},
        {QString(), QString(), QStringLiteral("output"), QStringLiteral("package")},
        {QStringLiteral("components[]"), QString(), QStringLiteral("preview"),
         QStringLiteral("previewPath")},
        {QStringLiteral("components[]"), QStringLiteral("import"), QStringLiteral("file"),
         QStringLiteral("path")},
        {QStringLiteral("components[]"), QStringLiteral("import"), QStringLiteral("importKind"),
         QStringLiteral("importType")},
    });
    return spellings;
}

const OldSpellings& OldSpellings::timeline() {
    static const OldSpellings spellings({
        {QStringLiteral("clips[]"), QString(), QStringLiteral("content"),
         QStringLiteral("contentKind")},
        {QStringLiteral("clips[].overlay.items[]"), QString(), QStringLiteral("fadeIn"),
         QStringLiteral("firstFraction")},
        {QStringLiteral("clips[].overlay.items[]"), QString(), QStringLiteral("fadeOut"),
         QStringLiteral("secondFraction")},
    });
    return spellings;
}

bool OldSpellings::renameIn(QJsonObject& object, const QString& objects, const QString& path,
                            const QByteArray& json, const QString& file) const {
    bool renamed = false;
    for (const Rename& rename : m_renames) {
        if (rename.objects != objects || !object.contains(rename.old))
            continue;
        if (!rename.kind.isEmpty() &&
            object.value(QStringLiteral("kind")).toString() != rename.kind)
            continue;
        const QString at = path.isEmpty() ? QString() : path + QLatin1Char('.');
        if (object.contains(rename.current)) {
            const int line = JsonKeyLines(json).line(at + rename.old);
            throw Error(QStringLiteral("%1: %2: given twice, as '%3' and as its old spelling '%4' "
                                       "(keep '%3')")
                            .arg(line > 0 ? QStringLiteral("%1:%2").arg(file).arg(line) : file,
                                 at + rename.current, rename.current, rename.old));
        }
        object.insert(rename.current, object.take(rename.old));
        renamed = true;
    }
    return renamed;
}

QJsonObject OldSpellings::apply(const QJsonObject& root, const QByteArray& json,
                                const QString& file) const {
    QJsonObject result = root;
    Walker walker(*this, json, file);
    QStringList patterns;
    for (const Rename& rename : m_renames) {
        if (!patterns.contains(rename.objects))
            patterns << rename.objects;
    }
    for (const QString& pattern : patterns) {
        const QStringList segments =
            pattern.isEmpty() ? QStringList() : pattern.split(QLatin1Char('.'));
        walker.walk(result, segments, 0, QString(), pattern);
    }
    return result;
}

}  // namespace Cli
