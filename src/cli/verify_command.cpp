#include "cli/verify_command.h"

#include <QCommandLineParser>
#include <QFile>

#include "cli/checks/check_report.h"
#include "cli/checks/package_content_check.h"
#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/package_verifier.h"
#include "cli/per_package.h"
#include "cli/terminal_text.h"
#include "platform/fs/temporary_folder.h"

namespace Cli {

namespace {

// Verifies one package; `could not check` (no such file, an unreadable one, no room for the
// temporary unpack) is thrown as exit code 2, what the package holds never is.
PackageOutcome verifyOne(const QString& packagePath, bool json, bool content) {
    FS::TemporaryFolder temporary(QStringLiteral("unpack"));
    QString folder;
    try {
        existingPackage(packagePath, 2);
        QFile file(packagePath);
        if (!file.open(QIODevice::ReadOnly))
            throw Error(QStringLiteral("%1: cannot read the package: %2")
                            .arg(packagePath, file.errorString()));
        folder = unpackFolder(temporary);
    } catch (const Error& error) {
        throw Error(QString::fromUtf8(error.what()), 2);
    }
    const PackageVerifier verifier = PackageVerifier::verify(packagePath, folder);
    // The content checks read what the verify unpacked; a package whose content file does not
    // read has nothing to check them on, and says so among its problems.
    CheckReport findings;
    if (content && verifier.readAddOns())
        PackageContentCheck::check(verifier.folder(), verifier.manifest(), verifier.object(),
                                   verifier.damaged(), findings);
    const bool ok = verifier.ok() && !findings.hasErrors();

    PackageOutcome outcome;
    outcome.code = ok ? 0 : 1;
    if (json) {
        outcome.document = verifier.toJson();
        if (content) {
            const QJsonObject checked = findings.toJson(packagePath, QStringLiteral("package"));
            outcome.document.insert(QStringLiteral("ok"), ok);
            outcome.document.insert(QStringLiteral("content"),
                                    checked.value(QStringLiteral("findings")));
        }
        return outcome;
    }
    outcome.text = verifier.toText();
    // Messages quote what the package holds: no control character may reach a terminal.
    if (content && verifier.readAddOns()) {
        for (const QString& line :
             findings.toText(packagePath).split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            outcome.text += terminalSafe(line) + QLatin1Char('\n');
    }
    return outcome;
}

}  // namespace

int verifyCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Checks packages in full and lists every problem each holds: exit code 0 "
                       "when there are none, 1 when there are, 2 when a package could not be "
                       "checked."));
    parser.addPositionalArgument(QStringLiteral("packages"), QStringLiteral("The package files."),
                                 QStringLiteral("PACKAGE.qpack..."));
    const QCommandLineOption jsonOption(
        QStringLiteral("json"),
        QStringLiteral("Print one JSON document per package (one a line for several)."));
    const QCommandLineOption contentOption(
        QStringLiteral("content"),
        QStringLiteral("Also run the content checks (LUTs, shaders, media, shared resources) on "
                       "what the package holds."));
    parser.addOptions({jsonOption, contentOption});
    if (!parseCommandLine(parser, QStringLiteral("verify"), arguments, out, -1,
                          QStringLiteral("a package file")))
        return 0;
    const bool json = parser.isSet(jsonOption);
    const bool content = parser.isSet(contentOption);
    return runPerPackage(parser.positionalArguments(), json, out, err,
                         [&](const QString& path) { return verifyOne(path, json, content); });
}

}  // namespace Cli
