#include "cli/checks/package_clash_check.h"

#include <QStringList>
#include <map>

namespace Cli {
namespace {

QString timingText(const ::Resource::Timing& timing) {
    return QStringLiteral("%1 ms from %2 ms at %3 fps")
        .arg(timing.length)
        .arg(timing.start)
        .arg(timing.frameRate / 1000.0);
}

}  // namespace

void PackageClashCheck::check(const std::vector<PackageFileUse>& uses, CheckReport& report) {
    std::map<QString, const PackageFileUse*> stills;  // by still path: the first use
    std::map<QString, const PackageFileUse*> sole;    // by file: the first item that is only it
    std::map<QString, const PackageFileUse*> timed;   // by file: the first timed record
    std::map<QString, QStringList> spellings;         // by lower-case path
    for (const PackageFileUse& use : uses) {
        const QString& file = use.place.file;
        if (use.role == PackageFileUse::Still) {
            const auto [at, added] = stills.emplace(file, &use);
            if (!added && at->second->stillOf != use.stillOf)
                report.add(use.place, Finding::Error,
                           QStringLiteral("the still '%1' stands for '%2' (%3) and '%4' (%5): two "
                                          "clips' stills landed at one name, so one shows the "
                                          "other's picture")
                               .arg(file, at->second->stillOf, at->second->place.item, use.stillOf,
                                    use.place.item));
        }
        if (use.role == PackageFileUse::Sole) {
            const auto [at, added] = sole.emplace(file, &use);
            if (!added && at->second->place.item != use.place.item)
                report.add(use.place, Finding::Error,
                           QStringLiteral("%1 and %2 both show '%3': either two different files "
                                          "of that name landed on one, and the second shows the "
                                          "first's content, or the second repeats the first")
                               .arg(at->second->place.item, use.place.item, file));
        }
        if (use.timed) {
            const auto [at, added] = timed.emplace(file, &use);
            if (!added && !(at->second->timing == use.timing))
                report.add(use.place, Finding::Error,
                           QStringLiteral("'%1' is recorded as %2 for %3 and as %4 for %5: two "
                                          "different files of that name landed on one")
                               .arg(file, timingText(at->second->timing), at->second->place.item,
                                    timingText(use.timing), use.place.item));
        }
        QStringList& spelled = spellings[file.toLower()];
        if (spelled.contains(file))
            continue;
        if (!spelled.isEmpty())
            report.add(use.place, Finding::Warning,
                       QStringLiteral("'%1' and '%2' differ only in case: they clash on a file "
                                      "system that ignores case")
                           .arg(spelled.front(), file));
        spelled << file;
    }
}

}  // namespace Cli
