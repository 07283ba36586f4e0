#include "cli/command_line.h"

#include <QFileInfo>

#include "cli/cli_error.h"

namespace Cli {

bool parseCommandLine(QCommandLineParser& parser, const QString& command,
                      const QStringList& arguments, QTextStream& out, int positionalCount,
                      const QString& what) {
    parser.addHelpOption();
    const QString see = QStringLiteral("(see packwright %1 --help)").arg(command);
    if (!parser.parse(QStringList{QStringLiteral("packwright ") + command} + arguments))
        throw Error(QStringLiteral("%1: %2 %3").arg(command, parser.errorText(), see), 2);
    if (parser.isSet(QStringLiteral("help"))) {
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
