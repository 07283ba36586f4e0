#include "cli/ls_command.h"

#include <QCommandLineParser>
#include <QFileInfo>

#include <optional>

#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/input_guard.h"
#include "cli/package_listing.h"
#include "cli/per_package.h"
#include "cli/standard_streams.h"
#include "cli/terminal_text.h"
#include "cli/verbosity.h"
#include "platform/fs/temporary_folder.h"

namespace Cli {

int lsCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    const auto parsed = parsePackageArguments(
        QStringLiteral("ls"),
        QStringLiteral("Lists the items and resources of a package without unpacking it."),
        arguments, out);
    if (!parsed)
        return 0;
    return runPerPackage(parsed->packagePaths, parsed->json, out, err, [&](const QString& path) {
        const PackageArchive archive(existingPackage(path));
        const PackageListing listing = PackageListing::read(archive, path);
        PackageOutcome outcome;
        if (parsed->json)
            outcome.document = listing.toJson(archive);
        else
            outcome.text = listing.toText(archive);
        return outcome;
    });
}

int extractCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Takes one item or resource out of a package: NAME is an entry as ls shows "
                       "it (resources/clip.mp4), or an item's place (effects[0]) or folder, which "
                       "names its stored item."));
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    parser.addPositionalArgument(QStringLiteral("name"), QStringLiteral("What to take out."));
    const QCommandLineOption outputOption({QStringLiteral("o"), QStringLiteral("output")},
                                          QStringLiteral("Write it to FILE, or to the standard "
                                                         "output for - (required)."),
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
    const bool toStandardOutput = StandardStreams::isDash(parser.value(outputOption));
    // The entry is taken out whole into a temporary before a byte of it is sent.
    std::optional<FS::TemporaryFolder> temporary;
    if (toStandardOutput) {
        StandardStreams::refuseTerminal(QStringLiteral("extract"), QStringLiteral("an entry"));
        temporary.emplace(QStringLiteral("stdout"));
    }
    const QString target = toStandardOutput
                               ? unpackFolder(*temporary, QStringLiteral("entry"))
                               : QFileInfo(parser.value(outputOption)).absoluteFilePath();
    refuseOutputOverInput(target, {packagePath}, QStringLiteral("-o"));
    if (QFileInfo(target).isDir())
        throw Error(QStringLiteral("%1: is a folder; name the file to write").arg(target));
    refuseExisting(target, parser.isSet(forceOption));
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
    if (toStandardOutput)
        StandardStreams::writeFile(target, out);
    if (!Verbosity::quiet())
        (toStandardOutput ? err : out)
            << "extracted " << terminalSafe(entry) << " to "
            << (toStandardOutput ? QStringLiteral("the standard output") : terminalSafe(target))
            << " (" << found->size << " bytes)\n";
    return 0;
}

}  // namespace Cli
