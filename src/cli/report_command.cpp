#include "cli/report_command.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTemporaryDir>

#include "cli/cli_error.h"
#include "cli/package_report.h"

namespace Cli {

int inspectCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Shows what a package holds."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("Print one JSON document."));
    parser.addOption(jsonOption);
    if (!parser.parse(QStringList{QStringLiteral("packwright inspect")} + arguments))
        throw Error(
            QStringLiteral("inspect: %1 (see packwright inspect --help)").arg(parser.errorText()),
            2);
    if (parser.isSet(QStringLiteral("help"))) {
        out << parser.helpText();
        return 0;
    }
    if (parser.positionalArguments().size() != 1)
        throw Error(
            QStringLiteral("inspect: expected one package file (see packwright inspect --help)"),
            2);

    const QString packagePath = parser.positionalArguments().front();
    if (!QFileInfo(packagePath).isFile())
        throw Error(QStringLiteral("%1: no such package file").arg(packagePath));
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
