#include "cli/diff_command.h"

#include <QCommandLineParser>
#include <QJsonDocument>

#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/diff_report.h"
#include "platform/fs/temporary_folder.h"

namespace Cli {

int diffCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Compares two packages by what they hold: exit code 0 when they are "
                       "equal, 1 when they differ, 2 when they cannot be compared."));
    parser.addPositionalArgument(QStringLiteral("first"), QStringLiteral("A package file."));
    parser.addPositionalArgument(QStringLiteral("second"), QStringLiteral("Another one."));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("Print one JSON document."));
    const QCommandLineOption idsOption(
        QStringLiteral("ids"),
        QStringLiteral("Compare the ids that every build makes afresh too (package uuid, "
                       "add-on folders, resource and item ids)."));
    parser.addOptions({jsonOption, idsOption});
    if (!parseCommandLine(parser, QStringLiteral("diff"), arguments, out, 2,
                          QStringLiteral("two package files")))
        return 0;
    DiffReport report;
    try {
        const QStringList packages = parser.positionalArguments();
        FS::TemporaryFolder temporary(QStringLiteral("diff"));
        const PackageReport first =
            PackageReport::read(existingPackage(packages[0]), unpackFolder(temporary, "first"));
        const PackageReport second =
            PackageReport::read(existingPackage(packages[1]), unpackFolder(temporary, "second"));
        report = DiffReport::compare(first, second, parser.isSet(idsOption));
    } catch (const std::exception& error) {
        // As diff and cmp: trouble is 2, whatever its cause.
        throw Error(QString::fromUtf8(error.what()), 2);
    }
    if (parser.isSet(jsonOption))
        out << QJsonDocument(report.toJson()).toJson(QJsonDocument::Indented);
    else
        out << report.toText();
    return report.equal() ? 0 : 1;
}

}  // namespace Cli
