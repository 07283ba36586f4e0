#include "cli/report_command.h"

#include <QJsonDocument>

#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/package_report.h"
#include "platform/fs/temporary_folder.h"

namespace Cli {

int inspectCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    const auto parsed = parsePackageArguments(
        QStringLiteral("inspect"), QStringLiteral("Shows what a package holds."), arguments, out);
    if (!parsed)
        return 0;
    FS::TemporaryFolder temporary(QStringLiteral("unpack"));
    const PackageReport report = PackageReport::read(parsed->packagePath, unpackFolder(temporary));
    if (parsed->json)
        out << QJsonDocument(report.toJson()).toJson(QJsonDocument::Indented);
    else
        out << report.toText();
    return 0;
}

}  // namespace Cli
