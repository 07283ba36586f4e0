#include "cli/commands.h"

#include <QCommandLineParser>

#include <exception>
#include <functional>
#include <map>

#include "cli/build_command.h"
#include "cli/check_command.h"
#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/completion_script.h"
#include "cli/diff_command.h"
#include "cli/help_catalog.h"
#include "cli/ls_command.h"
#include "cli/man_page.h"
#include "cli/message_filter.h"
#include "cli/open_command.h"
#include "cli/preview/preview_command.h"
#include "cli/quiet_device.h"
#include "cli/report_command.h"
#include "cli/signal_guard.h"
#include "cli/terminal_text.h"
#include "cli/verbosity.h"
#include "cli/verify_command.h"

namespace Cli {
namespace {

const char* const kUsage =
    "Usage: packwright COMMAND [OPTIONS]\n"
    "\n"
    "Builds and reads content packages.\n"
    "\n"
    "Commands:\n"
    "  build RECIPE.json [-o OUT.qpack] [--force] [--uuid ID] [--keep-work DIR] [--strict]\n"
    "                    [-v] [--no-checks] [--no-cache] [--reproducible]\n"
    "                    build a package from a JSON recipe (- reads it from the standard\n"
    "                    input; -o - writes the package to the standard output); with\n"
    "                    --reproducible (or SOURCE_DATE_EPOCH set) the same recipe and files\n"
    "                    give the same bytes\n"
    "  build RECIPE.json... [-j N] [--json] [--print-hash] [--strict] [-v] [--no-checks]\n"
    "                    [--no-cache]\n"
    "                    build the package of every recipe, N at a time (default: one per\n"
    "                    core); exit code 1 when any failed\n"
    "  check RECIPE.json|- [--json] [-j N] [--no-cache]\n"
    "                    check a recipe's LUTs, shaders, media and resource names, writing\n"
    "                    nothing; exit code 1 when there are errors, 2 when it cannot be read\n"
    "  inspect PACKAGE.qpack... [--json]\n"
    "                    show the description, the add-on lists and every stored item\n"
    "  open PACKAGE.qpack --into DIR [--json] [--recipe OUT.json|-] [--force]\n"
    "                    unpack a package for editing and show its build context\n"
    "  ls PACKAGE.qpack... [--json]\n"
    "                    list the items and resources without unpacking the package\n"
    "  extract PACKAGE.qpack NAME -o FILE|- [--force]\n"
    "                    take one item (effects[0]) or resource (resources/clip.mp4) out\n"
    "  diff A.qpack B.qpack [--json] [--ids]\n"
    "                    compare two packages by what they hold: exit code 0 when equal, 1 when\n"
    "                    they differ, 2 when they cannot be compared\n"
    "  finalize PACKAGE.qpack -C DIR [--force] [--json]\n"
    "                    turn an intermediate overlay package into a finished one\n"
    "  verify PACKAGE.qpack... [--json] [--content]\n"
    "                    check the archive, the description, every stored item and resource\n"
    "                    (and with --content what they hold, as check does); exit code 1\n"
    "                    when there are problems, 2 when a package cannot be checked\n"
    "  preview PACKAGE.qpack [-o SHEET.html | -o SHEET.png | -o -] [--format html|png]\n"
    "                    [--force] [--frame IMAGE]\n"
    "                    make a contact sheet showing every item of a package\n"
    "  help COMMAND      show a command's help (as packwright COMMAND --help does)\n"
    "  completion bash|zsh\n"
    "                    print the shell completion script\n"
    "\n"
    "Every command also takes -q (print nothing on success but the data asked for, such as\n"
    "--json; errors still print) and -v (say more, the media decoder's warnings among it).\n"
    "Exit codes: 0 fine, 1 problems found or the work failed, 2 bad usage or could not\n"
    "check (diff: 1 when the packages differ).\n"
    "\n"
    "Options:\n"
    "  -h, --help        show this help\n"
    "  --help-all        show this help and every command's\n"
    "  --man             print the manual page (roff)\n"
    "  --version         show the version\n";

const std::map<QString, Command>& commandTable();

int helpCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Shows a command's help."));
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("The command."),
                                 QStringLiteral("COMMAND"));
    if (arguments.isEmpty()) {
        out << kUsage;
        return 0;
    }
    if (!parseCommandLine(parser, QStringLiteral("help"), arguments, out, 1,
                          QStringLiteral("one command")))
        return 0;
    out << HelpCatalog::helpOf(commandTable(), parser.positionalArguments().front());
    return 0;
}

int completionCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Prints the completion script of a shell, bash or zsh."));
    parser.addPositionalArgument(QStringLiteral("shell"), QStringLiteral("bash or zsh."));
    if (!parseCommandLine(parser, QStringLiteral("completion"), arguments, out, 1,
                          QStringLiteral("a shell, bash or zsh")))
        return 0;
    const QString shell = parser.positionalArguments().front();
    const HelpCatalog catalog = HelpCatalog::of(commandTable());
    if (shell == QLatin1String("bash"))
        out << CompletionScript::bash(catalog, HelpText::parse(QString::fromUtf8(kUsage)));
    else if (shell == QLatin1String("zsh"))
        out << CompletionScript::zsh(catalog, HelpText::parse(QString::fromUtf8(kUsage)));
    else
        throw Error(QStringLiteral("completion: no script for '%1': bash or zsh").arg(shell), 2);
    return 0;
}

const std::map<QString, Command>& commandTable() {
    static const std::map<QString, Command> commands = {
        {QStringLiteral("build"), buildCommand},
        {QStringLiteral("check"), checkCommand},
        {QStringLiteral("inspect"), inspectCommand},
        {QStringLiteral("open"), openCommand},
        {QStringLiteral("finalize"), finalizeCommand},
        {QStringLiteral("verify"), verifyCommand},
        {QStringLiteral("diff"), diffCommand},
        {QStringLiteral("ls"), lsCommand},
        {QStringLiteral("extract"), extractCommand},
        {QStringLiteral("preview"), previewCommand},
        {QStringLiteral("help"), helpCommand},
        {QStringLiteral("completion"), completionCommand},
    };
    return commands;
}

}  // namespace

int run(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    const std::map<QString, Command>& commands = commandTable();
    Verbosity::set(Verbosity::Normal);
    // What a command writes to stderr; held back while it is quiet, and shown if it fails.
    QuietDevice quietDevice(err);
    QTextStream commandErr(&quietDevice);
    commandErr.setCodec("UTF-8");
    const MediaWarnings mediaWarnings(commandErr);
    int code = 0;
    try {
        const QString first = arguments.isEmpty() ? QString() : arguments.front();
        if (arguments.isEmpty()) {
            err << kUsage;
            code = 2;
        } else if (first == QLatin1String("--help") || first == QLatin1String("-h")) {
            out << kUsage;
        } else if (first == QLatin1String("--help-all")) {
            out << kUsage;
            for (const HelpCatalog::Entry& entry : HelpCatalog::of(commands).commands)
                out << "\n" << entry.text;
        } else if (first == QLatin1String("--man")) {
            out << ManPage::roff(HelpCatalog::of(commands),
                                 HelpText::parse(QString::fromUtf8(kUsage)),
                                 QStringLiteral(PACKWRIGHT_VERSION));
        } else if (first == QLatin1String("--version")) {
            out << "packwright " << PACKWRIGHT_VERSION << "\n";
        } else {
            const auto it = commands.find(first);
            if (it == commands.end())
                throw Error(QStringLiteral("unknown command '%1' (see packwright --help)")
                                .arg(arguments.front()),
                            2);
            code = it->second(arguments.mid(1), out, commandErr);
        }
    } catch (const Error& error) {
        commandErr.flush();
        quietDevice.release();
        holdIfStopping();
        // Messages quote names and texts from packages and recipes.
        err << "packwright: error: " << terminalSafe(QString::fromUtf8(error.what())) << "\n";
        code = error.exitCode();
    } catch (const std::exception& error) {
        commandErr.flush();
        quietDevice.release();
        holdIfStopping();
        err << "packwright: error: " << terminalSafe(QString::fromUtf8(error.what())) << "\n";
        code = 1;
    }
    commandErr.flush();
    if (code != 0)
        quietDevice.release();
    Verbosity::set(Verbosity::Normal);
    // Output that did not reach its file is a failure, even of a command that succeeded.
    out.flush();
    if (out.status() != QTextStream::Ok) {
        err << "packwright: error: cannot write the output"
            << (out.device() ? QStringLiteral(": ") + out.device()->errorString() : QString())
            << "\n";
        code = code == 0 ? 1 : code;
    }
    err.flush();
    if (err.status() != QTextStream::Ok)
        code = code == 0 ? 1 : code;
    return code;
}

}  // namespace Cli
