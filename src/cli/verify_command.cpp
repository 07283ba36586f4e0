#include "cli/verify_command.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTemporaryDir>

#include "cli/cli_error.h"
#include "cli/package_verifier.h"

namespace Cli {

int verifyCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Checks a package in full and lists every problem it finds."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("Print one JSON document."));
    parser.addOption(jsonOption);
    if (!parser.parse(QStringList{QStringLiteral("packwright verify")} + arguments))
        throw Error(
            QStringLiteral("verify: %1 (see packwright verify --help)").arg(parser.errorText()), 2);
    if (parser.isSet(QStringLiteral("help"))) {
        out << parser.helpText();
        return 0;
    }
    if (parser.positionalArguments().size() != 1)
        throw Error(
            QStringLiteral("verify: expected one package file (see packwright verify --help)"), 2);

    const QString packagePath = parser.positionalArguments().front();
    if (!QFileInfo(packagePath).isFile())
        throw Error(QStringLiteral("%1: no such package file").arg(packagePath));
    QTemporaryDir temporary;
    if (!temporary.isValid())
        throw Error(
            QStringLiteral("cannot create a temporary folder: %1").arg(temporary.errorString()));
    const PackageVerifier verifier =
        PackageVerifier::verify(packagePath, temporary.filePath(QStringLiteral("package")));
    if (parser.isSet(jsonOption))
        out << QJsonDocument(verifier.toJson()).toJson(QJsonDocument::Indented);
    else
        out << verifier.toText();
    return verifier.ok() ? 0 : 1;
}

}  // namespace Cli
