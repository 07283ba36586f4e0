#include "cli/verify_command.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTemporaryDir>

#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/package_verifier.h"

namespace Cli {

int verifyCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Checks a package in full and lists every problem it finds."));
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("Print one JSON document."));
    parser.addOption(jsonOption);
    if (!parseCommandLine(parser, QStringLiteral("verify"), arguments, out, 1,
                          QStringLiteral("one package file")))
        return 0;

    const QString packagePath = existingPackage(parser.positionalArguments().front());
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
