#include "cli/verify_command.h"

#include <QCommandLineParser>
#include <QJsonDocument>

#include "cli/checks/check_report.h"
#include "cli/checks/package_content_check.h"
#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/package_verifier.h"
#include "cli/terminal_text.h"
#include "platform/fs/temporary_folder.h"

namespace Cli {

int verifyCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Checks a package in full and lists every problem it finds."));
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("Print one JSON document."));
    const QCommandLineOption contentOption(
        QStringLiteral("content"),
        QStringLiteral("Also run the content checks (LUTs, shaders, media, shared resources) on "
                       "what the package holds."));
    parser.addOptions({jsonOption, contentOption});
    if (!parseCommandLine(parser, QStringLiteral("verify"), arguments, out, 1,
                          QStringLiteral("one package file")))
        return 0;
    const QString packagePath = existingPackage(parser.positionalArguments().front());
    const bool json = parser.isSet(jsonOption);
    const bool content = parser.isSet(contentOption);

    FS::TemporaryFolder temporary(QStringLiteral("unpack"));
    const PackageVerifier verifier = PackageVerifier::verify(packagePath, unpackFolder(temporary));
    // The content checks read what the verify unpacked; a package whose content file does not
    // read has nothing to check them on, and says so among its problems.
    CheckReport findings;
    if (content && verifier.readAddOns())
        PackageContentCheck::check(verifier.folder(), verifier.manifest(), verifier.object(),
                                   verifier.damaged(), findings);
    const bool ok = verifier.ok() && !findings.hasErrors();

    if (json) {
        QJsonObject document = verifier.toJson();
        if (content) {
            const QJsonObject checked = findings.toJson(packagePath, QStringLiteral("package"));
            document.insert(QStringLiteral("ok"), ok);
            document.insert(QStringLiteral("content"), checked.value(QStringLiteral("findings")));
        }
        out << QJsonDocument(document).toJson(QJsonDocument::Indented);
    } else {
        out << verifier.toText();
        // Messages quote what the package holds: no control character may reach a terminal.
        if (content && verifier.readAddOns()) {
            for (const QString& line :
                 findings.toText(packagePath).split(QLatin1Char('\n'), Qt::SkipEmptyParts))
                out << terminalSafe(line) << "\n";
        }
    }
    return ok ? 0 : 1;
}

}  // namespace Cli
