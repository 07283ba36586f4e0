#include "cli/report_command.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTemporaryDir>

#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/package_report.h"

namespace Cli {

int inspectCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Shows what a package holds."));
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("Print one JSON document."));
    parser.addOption(jsonOption);
    if (!parseCommandLine(parser, QStringLiteral("inspect"), arguments, out, 1,
                          QStringLiteral("one package file")))
        return 0;

    const QString packagePath = existingPackage(parser.positionalArguments().front());
    QTemporaryDir temporary;
    if (!temporary.isValid())
        throw Error(
            QStringLiteral("cannot create a temporary folder: %1").arg(temporary.errorString()));
    const PackageReport report =
        PackageReport::read(packagePath, temporary.filePath(QStringLiteral("package")));
    if (parser.isSet(jsonOption))
        out << QJsonDocument(report.toJson()).toJson(QJsonDocument::Indented);
    else
        out << report.toText();
    return 0;
}

}  // namespace Cli
