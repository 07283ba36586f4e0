#include "cli/report_command.h"

#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/package_report.h"
#include "cli/per_package.h"
#include "platform/fs/temporary_folder.h"

namespace Cli {

int inspectCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    const auto parsed = parsePackageArguments(
        QStringLiteral("inspect"), QStringLiteral("Shows what a package holds."), arguments, out);
    if (!parsed)
        return 0;
    return runPerPackage(parsed->packagePaths, parsed->json, out, err, [&](const QString& path) {
        FS::TemporaryFolder temporary(QStringLiteral("unpack"));
        const PackageReport report =
            PackageReport::read(existingPackage(path), unpackFolder(temporary));
        PackageOutcome outcome;
        if (parsed->json)
            outcome.document = report.toJson();
        else
            outcome.text = report.toText();
        return outcome;
    });
}

}  // namespace Cli
