#include "cli/commands.h"

#include <exception>
#include <functional>
#include <map>

#include "cli/build_command.h"
#include "cli/check_command.h"
#include "cli/cli_error.h"
#include "cli/diff_command.h"
#include "cli/ls_command.h"
#include "cli/open_command.h"
#include "cli/preview/preview_command.h"
#include "cli/report_command.h"
#include "cli/signal_guard.h"
#include "cli/terminal_text.h"
#include "cli/verify_command.h"

namespace Cli {
namespace {

const char* const kUsage =
    "Usage: packwright COMMAND [OPTIONS]\n"
    "\n"
    "Builds and reads content packages.\n"
    "\n"
    "Commands:\n"
    "  build RECIPE.json [-o OUT.qpack] [--uuid ID] [--keep-work DIR] [--strict] [-v]\n"
    "                    [--no-checks] [--no-cache]\n"
    "                    build a package from a JSON recipe\n"
    "  build RECIPE.json... [-j N] [--json] [--print-hash] [--strict] [-v] [--no-checks]\n"
    "                    [--no-cache]\n"
    "                    build the package of every recipe, N at a time (default: one per\n"
    "                    core); exit code 1 when any failed\n"
    "  check RECIPE.json [--json] [-j N] [--no-cache]\n"
    "                    check a recipe's LUTs, shaders, media and resource names, writing\n"
    "                    nothing; exit code 1 when there are errors\n"
    "  inspect PACKAGE.qpack [--json]\n"
    "                    show the description, the add-on lists and every stored item\n"
    "  open PACKAGE.qpack --into DIR [--json] [--recipe OUT.json]\n"
    "                    unpack a package for editing and show its build context\n"
    "  ls PACKAGE.qpack [--json]\n"
    "                    list the items and resources without unpacking the package\n"
    "  extract PACKAGE.qpack NAME -o FILE [--force]\n"
    "                    take one item (effects[0]) or resource (resources/clip.mp4) out\n"
    "  diff A.qpack B.qpack [--json] [--ids]\n"
    "                    compare two packages by what they hold: exit code 0 when equal, 1 when\n"
    "                    they differ, 2 when they cannot be compared\n"
    "  finalize PACKAGE.qpack -o DIR\n"
    "                    turn an intermediate overlay package into a finished one\n"
    "  verify PACKAGE.qpack [--json] [--content]\n"
    "                    check the archive, the description, every stored item and resource\n"
    "                    (and with --content what they hold, as check does); exit code 1\n"
    "                    when there are problems\n"
    "  preview PACKAGE.qpack [-o SHEET.html | -o SHEET.png] [--frame IMAGE]\n"
    "                    make a contact sheet showing every item of a package\n"
    "\n"
    "Options:\n"
    "  -h, --help        show this help (or a command's: packwright build --help)\n"
    "  --version         show the version\n";

using Command = std::function<int(const QStringList&, QTextStream&, QTextStream&)>;

}  // namespace

int run(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    static const std::map<QString, Command> commands = {
        {QStringLiteral("build"), buildCommand},       {QStringLiteral("check"), checkCommand},
        {QStringLiteral("inspect"), inspectCommand},   {QStringLiteral("open"), openCommand},
        {QStringLiteral("finalize"), finalizeCommand}, {QStringLiteral("verify"), verifyCommand},
        {QStringLiteral("diff"), diffCommand},         {QStringLiteral("ls"), lsCommand},
        {QStringLiteral("extract"), extractCommand},   {QStringLiteral("preview"), previewCommand},
    };
    int code = 0;
    try {
        if (arguments.isEmpty()) {
            err << kUsage;
            code = 2;
        } else if (arguments.front() == QLatin1String("--help") ||
                   arguments.front() == QLatin1String("-h") ||
                   arguments.front() == QLatin1String("help")) {
            out << kUsage;
        } else if (arguments.front() == QLatin1String("--version")) {
            out << "packwright " << PACKWRIGHT_VERSION << "\n";
        } else {
            const auto it = commands.find(arguments.front());
            if (it == commands.end())
                throw Error(QStringLiteral("unknown command '%1' (see packwright --help)")
                                .arg(arguments.front()),
                            2);
            code = it->second(arguments.mid(1), out, err);
        }
    } catch (const Error& error) {
        holdIfStopping();
        // Messages quote names and texts from packages and recipes.
        err << "packwright: error: " << terminalSafe(QString::fromUtf8(error.what())) << "\n";
        code = error.exitCode();
    } catch (const std::exception& error) {
        holdIfStopping();
        err << "packwright: error: " << terminalSafe(QString::fromUtf8(error.what())) << "\n";
        code = 1;
    }
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
