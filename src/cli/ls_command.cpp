#include "cli/ls_command.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QJsonDocument>

#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/input_guard.h"
#include "cli/package_listing.h"
#include "cli/terminal_text.h"
#include "cli/verbosity.h"

namespace Cli {

int lsCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    const auto parsed = parsePackageArguments(
        QStringLiteral("ls"),
        QStringLiteral("Lists the items and resources of a package without unpacking it."),
        arguments, out);
    if (!parsed)
        return 0;
    const PackageArchive archive(parsed->packagePath);
    const PackageListing listing = PackageListing::read(archive, parsed->packagePath);
    if (parsed->json)
        out << QJsonDocument(listing.toJson(archive)).toJson(QJsonDocument::Indented);
    else
        out << listing.toText(archive);
    return 0;
}

int extractCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Takes one item or resource out of a package: NAME is an entry as ls shows "
                       "it (resources/clip.mp4), or an item's place (effects[0]) or folder, which "
                       "names its stored item."));
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    parser.addPositionalArgument(QStringLiteral("name"), QStringLiteral("What to take out."));
    const QCommandLineOption outputOption({QStringLiteral("o"), QStringLiteral("output")},
                                          QStringLiteral("Write it to FILE (required)."),
                                          QStringLiteral("FILE"));
    const QCommandLineOption forceOption(QStringLiteral("force"),
                                         QStringLiteral("Replace FILE when it exists."));
    parser.addOptions({outputOption, forceOption});
    if (!parseCommandLine(parser, QStringLiteral("extract"), arguments, out, 2,
                          QStringLiteral("a package file and a name")))
        return 0;
    if (!parser.isSet(outputOption))
        throw Error(QStringLiteral("extract: -o FILE is required (see packwright extract --help)"),
                    2);
    const QString packagePath = existingPackage(parser.positionalArguments()[0]);
    const QString name = parser.positionalArguments()[1];
    const QString target = QFileInfo(parser.value(outputOption)).absoluteFilePath();
    refuseOutputOverInput(target, {packagePath}, QStringLiteral("-o"));
    if (QFileInfo(target).isDir())
        throw Error(QStringLiteral("%1: is a folder; name the file to write").arg(target));
    if (QFileInfo::exists(target) && !parser.isSet(forceOption))
        throw Error(QStringLiteral("%1: already exists; not overwritten (give --force to replace "
                                   "it)")
                        .arg(target));
    if (!QFileInfo(QFileInfo(target).absolutePath()).isDir())
        throw Error(QStringLiteral("%1: no such folder").arg(QFileInfo(target).absolutePath()));

    const PackageArchive archive(packagePath);
    const PackageListing listing = PackageListing::read(archive, packagePath);
    const QString entry = listing.entryOf(name);
    if (entry.isEmpty())
        throw Error(QStringLiteral("%1: %2: no such item").arg(packagePath, name));
    const QString problem = PackageArchive::nameProblem(entry);
    if (!problem.isEmpty())
        throw Error(QStringLiteral("%1: %2: not taken out: %3").arg(packagePath, entry, problem));
    const auto* found = archive.find(entry);
    if (!found || found->isDirectory)
        throw Error(QStringLiteral("%1: %2: no such file in the package (see packwright ls)")
                        .arg(packagePath, entry));
    archive.copyTo(entry, target, parser.isSet(forceOption));
    if (!Verbosity::quiet())
        out << "extracted " << terminalSafe(entry) << " to " << terminalSafe(target) << " ("
            << found->size << " bytes)\n";
    return 0;
}

}  // namespace Cli
