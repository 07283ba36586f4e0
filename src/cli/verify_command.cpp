#include "cli/verify_command.h"

#include <QJsonDocument>

#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/package_verifier.h"
#include "platform/fs/temporary_folder.h"

namespace Cli {

int verifyCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    const auto parsed = parsePackageArguments(
        QStringLiteral("verify"),
        QStringLiteral("Checks a package in full and lists every problem it finds."), arguments,
        out);
    if (!parsed)
        return 0;
    FS::TemporaryFolder temporary(QStringLiteral("unpack"));
    const PackageVerifier verifier =
        PackageVerifier::verify(parsed->packagePath, unpackFolder(temporary));
    if (parsed->json)
        out << QJsonDocument(verifier.toJson()).toJson(QJsonDocument::Indented);
    else
        out << verifier.toText();
    return verifier.ok() ? 0 : 1;
}

}  // namespace Cli
