#include "cli/checks/resource_clash_check.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <map>

namespace Cli {
namespace {

class Contents {
public:
    // Whether two files hold the same bytes; digests are kept, so every file is read once.
    bool same(const QString& a, const QString& b) {
        if (QFileInfo(a).canonicalFilePath() == QFileInfo(b).canonicalFilePath())
            return true;
        if (QFileInfo(a).size() != QFileInfo(b).size())
            return false;
        return digest(a) == digest(b);
    }

private:
    QByteArray digest(const QString& path) {
        auto it = m_digests.find(path);
        if (it != m_digests.end())
            return it->second;
        QCryptographicHash hash(QCryptographicHash::Sha256);
        QFile file(path);
        // An unreadable file is its own content: it matches nothing else.
        const QByteArray result =
            file.open(QIODevice::ReadOnly) && hash.addData(&file) ? hash.result() : path.toUtf8();
        m_digests.emplace(path, result);
        return result;
    }

    std::map<QString, QByteArray> m_digests;
};

QString describe(const ResourceSource& source) {
    const QString where =
        QStringLiteral("components[%1].%2").arg(source.place.component).arg(source.place.field);
    return source.still ? QStringLiteral("the still of %1 (%2)").arg(source.place.file, where)
                        : QStringLiteral("%1 (%2)").arg(source.place.file, where);
}

bool sameContent(const ResourceSource& a, const ResourceSource& b, Contents& contents) {
    return a.still == b.still && contents.same(a.path, b.path);
}

}  // namespace

void ResourceClashCheck::check(const std::vector<ResourceSource>& sources, CheckReport& report) {
    Contents contents;
    std::map<QString, const ResourceSource*> first;              // by name
    std::map<QString, const ResourceSource*> firstIgnoringCase;  // by lower-case name
    for (const ResourceSource& source : sources) {
        const auto [at, added] = first.emplace(source.name, &source);
        if (!added) {
            const ResourceSource& kept = *at->second;
            if (!sameContent(kept, source, contents))
                report.add(source.place, Finding::Error,
                           QStringLiteral("two different files would land at resource '%1': %2 "
                                          "and %3; the package would hold only the first")
                               .arg(source.name, describe(kept), describe(source)));
            continue;
        }
        const auto [other, fresh] = firstIgnoringCase.emplace(source.name.toLower(), &source);
        if (!fresh && !sameContent(*other->second, source, contents))
            report.add(source.place, Finding::Warning,
                       QStringLiteral("resources '%1' and '%2' differ only in case: %3 and %4 "
                                      "clash on a file system that ignores case")
                           .arg(other->second->name, source.name, describe(*other->second),
                                describe(source)));
    }
}

}  // namespace Cli
