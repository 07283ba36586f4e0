#include "cli/command_line.h"

#include <QFileInfo>

#include "cli/cli_error.h"
#include "cli/help_text.h"
#include "cli/verbosity.h"

namespace Cli {

bool parseCommandLine(QCommandLineParser& parser, const QString& command,
                      const QStringList& arguments, QTextStream& out, int positionalCount,
                      const QString& what) {
    // Our own help option rather than Qt's, whose --help-all offers Qt's options, not ours.
    const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                        QStringLiteral("Show this help."));
    parser.addOption(helpOption);
    // Every command is quiet or verbose on request; one that has its own -v keeps its words.
    const HelpText own = HelpText::parse(parser.helpText());
    if (!own.hasOption(QStringLiteral("q")) && !own.hasOption(QStringLiteral("quiet")))
        parser.addOption(QCommandLineOption(
            {QStringLiteral("q"), QStringLiteral("quiet")},
            QStringLiteral("Print nothing on success but the data asked for (such as --json); "
                           "errors still print.")));
    if (!own.hasOption(QStringLiteral("v")) && !own.hasOption(QStringLiteral("verbose")))
        parser.addOption(
            QCommandLineOption({QStringLiteral("v"), QStringLiteral("verbose")},
                               QStringLiteral("Say more, the media decoder's warnings among it.")));
    const QString see = QStringLiteral("(see packwright %1 --help)").arg(command);
    if (!parser.parse(QStringList{QStringLiteral("packwright ") + command} + arguments))
        throw Error(QStringLiteral("%1: %2 %3").arg(command, parser.errorText(), see), 2);
    if (parser.isSet(helpOption)) {
        // Qt names the program by its path; the usage line names the command instead.
        QString help = parser.helpText();
        const int end = help.indexOf(QLatin1Char('\n'));
        const QString usage = help.left(end);
        const int options = usage.indexOf(QStringLiteral(" [options]"));
        if (usage.startsWith(QStringLiteral("Usage: ")) && options > 0)
            help.replace(7, options - 7, QStringLiteral("packwright ") + command);
        out << help;
        return false;
    }
    const bool quiet = parser.isSet(QStringLiteral("quiet"));
    const bool verbose = parser.isSet(QStringLiteral("verbose"));
    if (quiet && verbose)
        throw Error(
            QStringLiteral("%1: -q and -v ask for opposites; give one %2").arg(command, see), 2);
    Verbosity::set(quiet ? Verbosity::Quiet : verbose ? Verbosity::Verbose : Verbosity::Normal);
    const int given = parser.positionalArguments().size();
    if (positionalCount >= 0 ? given != positionalCount : given < -positionalCount)
        throw Error(QStringLiteral("%1: expected %2 %3").arg(command, what, see), 2);
    return true;
}

QString existingPackage(const QString& path, int exitCode) {
    if (!QFileInfo(path).isFile())
        throw Error(QStringLiteral("%1: no such package file").arg(path), exitCode);
    return path;
}

void refuseExisting(const QString& path, bool force) {
    if (!force && QFileInfo::exists(path))
        throw Error(
            QStringLiteral("%1: already exists; not overwritten (give --force to replace it)")
                .arg(path));
}

std::optional<PackageArguments> parsePackageArguments(const QString& command,
                                                      const QString& description,
                                                      const QStringList& arguments,
                                                      QTextStream& out) {
    QCommandLineParser parser;
    parser.setApplicationDescription(description);
    parser.addPositionalArgument(QStringLiteral("packages"), QStringLiteral("The package files."),
                                 QStringLiteral("PACKAGE.qpack..."));
    const QCommandLineOption jsonOption(
        QStringLiteral("json"),
        QStringLiteral("Print one JSON document per package (one a line for several)."));
    parser.addOption(jsonOption);
    if (!parseCommandLine(parser, command, arguments, out, -1, QStringLiteral("a package file")))
        return std::nullopt;
    return PackageArguments{parser.positionalArguments(), parser.isSet(jsonOption)};
}

QString unpackFolder(const FS::TemporaryFolder& temporary, const QString& name) {
    if (!temporary.isValid())
        throw Error(
            QStringLiteral("cannot create a temporary folder: %1").arg(temporary.errorString()));
    return temporary.filePath(name);
}

}  // namespace Cli
