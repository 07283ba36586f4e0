#include <gtest/gtest.h>

#include <QFileInfo>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <vector>

#include "cli/commands.h"
#include "cli/help_text.h"
#include "cli/progress.h"
#include "test_support.h"

namespace {

using TestSupport::tool;
using TestSupport::writeFile;

struct InProcess {
    int code = 0;
    QString output;
    QString errors;
};

// The tool's entry point in this process: help needs no package, so no process is spawned.
InProcess runHere(const QStringList& arguments) {
    InProcess result;
    QTextStream out(&result.output);
    QTextStream err(&result.errors);
    result.code = Cli::run(arguments, out, err);
    return result;
}

const QStringList kCommands = {"build", "check",  "inspect",  "open",    "ls",         "extract",
                               "diff",  "verify", "finalize", "preview", "completion", "help"};

// A recipe whose LUT holds a value that is not a number: the content checks warn, the build goes
// on.
QString warnedRecipe(const QTemporaryDir& dir) {
    QByteArray lut = "LUT_3D_SIZE 2\n";
    for (int i = 0; i < 7; ++i)
        lut += "0 0 0\n";
    writeFile(dir.filePath("nan.cube"), lut + "nan 0 0\n");
    writeFile(dir.filePath("recipe.json"), R"({"name": "Warned", "output": "out.qpack",
        "components": [{"kind": "lut-effect", "lut": "nan.cube"}]})");
    return dir.filePath("recipe.json");
}

}  // namespace

TEST(CliHelp, HelpCommandIsTheCommandsOwnHelpWithQuietAndVerbose) {
    for (const QString& command : kCommands) {
        SCOPED_TRACE(command.toStdString());
        const InProcess help = runHere({"help", command});
        const InProcess own = runHere({command, "--help"});
        EXPECT_EQ(help.code, 0);
        EXPECT_EQ(help.output, own.output);
        EXPECT_TRUE(help.output.startsWith("Usage: packwright " + command + " [options]"))
            << help.output.toStdString();
        const Cli::HelpText parsed = Cli::HelpText::parse(help.output);
        for (const char* name : {"help", "h", "quiet", "q", "verbose", "v"})
            EXPECT_TRUE(parsed.hasOption(name)) << name;
        // Qt's own --help-all offered Qt's options, which the tool does not take.
        EXPECT_FALSE(help.output.contains("--help-all"));
    }
    const InProcess unknown = runHere({"help", "teleport"});
    EXPECT_EQ(unknown.code, 2);
    EXPECT_EQ(unknown.errors,
              "packwright: error: unknown command 'teleport' (see packwright --help)\n");
    EXPECT_EQ(runHere({"help"}).output, runHere({"--help"}).output);

    // --help-all is the tool's usage and then every command's help.
    const InProcess all = runHere({"--help-all"});
    EXPECT_EQ(all.code, 0);
    EXPECT_TRUE(all.output.startsWith(runHere({"--help"}).output));
    for (const QString& command : kCommands)
        EXPECT_TRUE(all.output.contains(runHere({command, "--help"}).output))
            << command.toStdString();
}

TEST(CliHelp, HelpTextReadsBackOptionsValuesAndWrappedDescriptions) {
    const Cli::HelpText help = Cli::HelpText::parse(runHere({"build", "--help"}).output);
    EXPECT_EQ(help.usage, "packwright build [options] RECIPE.json...");
    EXPECT_EQ(help.description, "Builds a package from each JSON recipe; several, N at a time.");
    const auto keep =
        std::find_if(help.options.begin(), help.options.end(),
                     [](const auto& option) { return option.names == QStringList{"keep-work"}; });
    ASSERT_NE(keep, help.options.end());
    EXPECT_EQ(keep->valueName, "DIR");
    EXPECT_EQ(keep->description,
              "Lay the working folder out in DIR and keep it (one recipe only).");
    // Build's own -v stays its own: one option of that name.
    EXPECT_EQ(std::count_if(help.options.begin(), help.options.end(),
                            [](const auto& option) { return option.names.contains("v"); }),
              1);
    ASSERT_EQ(help.arguments.size(), 1u);
    EXPECT_EQ(help.arguments.front().name, "recipes");
}

TEST(CliHelp, QuietSaysNothingOnSuccessButStillFailsAloud) {
    QTemporaryDir dir;
    const QString recipe = warnedRecipe(dir);
    const TestSupport::ToolResult loud = tool({"build", recipe});
    ASSERT_EQ(loud.code, 0) << loud.errors.toStdString();
    EXPECT_TRUE(loud.output.startsWith("built ")) << loud.output.toStdString();
    EXPECT_TRUE(loud.errors.contains("warning: value nan is not a number"));

    const TestSupport::ToolResult quiet =
        tool({"build", "-q", recipe, "-o", dir.filePath("q.qpack")});
    EXPECT_EQ(quiet.code, 0) << quiet.errors.toStdString();
    EXPECT_EQ(quiet.output, "");
    EXPECT_EQ(quiet.errors, "");
    EXPECT_TRUE(QFileInfo(dir.filePath("q.qpack")).isFile());

    // Data asked for still prints; so does the account of a failure, the held warnings first.
    const TestSupport::ToolResult json =
        tool({"build", "--quiet", "--json", recipe, "-o", dir.filePath("j.qpack")});
    EXPECT_EQ(json.code, 0);
    EXPECT_TRUE(QJsonDocument::fromJson(json.output.toUtf8()).isObject())
        << json.output.toStdString();
    EXPECT_EQ(json.errors, "");
    const TestSupport::ToolResult strict =
        tool({"build", "-q", "--strict", recipe, "-o", dir.filePath("s.qpack")});
    EXPECT_EQ(strict.code, 1);
    EXPECT_EQ(strict.output, "");
    const int warning = strict.errors.indexOf("warning: value nan is not a number");
    const int error = strict.errors.indexOf("packwright: error: ");
    EXPECT_TRUE(warning >= 0 && error > warning) << strict.errors.toStdString();

    const TestSupport::ToolResult ls = tool({"ls", "-q", dir.filePath("q.qpack")});
    EXPECT_EQ(ls.code, 0);
    EXPECT_TRUE(ls.output.contains("Warned")) << ls.output.toStdString();
    const TestSupport::ToolResult extracted = tool(
        {"extract", "-q", dir.filePath("q.qpack"), "package.xml", "-o", dir.filePath("p.xml")});
    EXPECT_EQ(extracted.code, 0) << extracted.errors.toStdString();
    EXPECT_EQ(extracted.output + extracted.errors, "");

    const TestSupport::ToolResult both = tool({"verify", "-q", "-v", dir.filePath("q.qpack")});
    EXPECT_EQ(both.code, 2);
    EXPECT_TRUE(both.errors.contains("-q and -v ask for opposites")) << both.errors.toStdString();
}

TEST(CliHelp, ProgressRedrawsAtMostTenTimesASecondAndAlwaysTheLastState) {
    using namespace std::chrono;
    steady_clock::time_point now{};
    std::vector<std::pair<steady_clock::time_point, QString>> drawn;
    Cli::Progress progress([&](const QString& line) { drawn.emplace_back(now, line); },
                           [&] { return now; });
    // Three simulated seconds of a change every millisecond.
    const qint64 total = 3'000'000;
    for (int ms = 0; ms < 3000; ++ms) {
        now = steady_clock::time_point{} + milliseconds(ms);
        progress.showBytes("packing P", qint64(ms) * 1000, total);
    }
    progress.done();
    ASSERT_GE(drawn.size(), 3u);
    EXPECT_EQ(drawn.back().second, "");  // cleared at the end
    drawn.pop_back();
    EXPECT_LE(drawn.size(), 31u);  // 30 in three seconds, and the last state
    for (size_t i = 1; i + 1 < drawn.size(); ++i)
        EXPECT_GE(drawn[i].first - drawn[i - 1].first, milliseconds(100)) << i;
    EXPECT_EQ(drawn.back().second, "packing P: 3.0 MB of 3.0 MB, 1.0 MB/s, 1 s left");

    // Bytes, speed and time left; reaching the total is drawn at once, without a time left.
    drawn.clear();
    now = steady_clock::time_point{};
    Cli::Progress bytes([&](const QString& line) { drawn.emplace_back(now, line); },
                        [&] { return now; });
    bytes.showBytes("packing Q", 0, 15'000'000);
    now += seconds(2);
    bytes.showBytes("packing Q", 5'000'000, 15'000'000);
    now += milliseconds(10);
    bytes.showBytes("packing Q", 15'000'000, 15'000'000);
    ASSERT_EQ(drawn.size(), 3u);
    EXPECT_EQ(drawn[0].second, "packing Q: 0 bytes of 15.0 MB");
    EXPECT_EQ(drawn[1].second, "packing Q: 5.0 MB of 15.0 MB, 2.5 MB/s, 4 s left");
    EXPECT_TRUE(drawn[2].second.startsWith("packing Q: 15.0 MB of 15.0 MB, 7.5 MB/s"))
        << drawn[2].second.toStdString();
    EXPECT_FALSE(drawn[2].second.contains("left"));
}

TEST(CliHelp, VerboseShowsTheMediaDecodersWarningsOnEveryCommand) {
    QTemporaryDir dir;
    QString output;
    if (TestSupport::run("ffmpeg",
                         {"-loglevel", "error", "-f", "lavfi", "-i", "testsrc2=s=320x240:r=25:d=2",
                          "-c:v", "libx264", "-movflags", "+faststart", dir.filePath("clip.mp4")},
                         &output) != 0)
        GTEST_SKIP() << "the ffmpeg command (with libx264) is needed to make test media";
    // Damaged all through its frames but whole: it probes, and its first frame decodes with
    // complaints.
    QByteArray damaged = TestSupport::readFile(dir.filePath("clip.mp4"));
    for (int i = damaged.indexOf("mdat") + 200; i < damaged.size(); i += 97)
        damaged[i] = char(damaged[i] ^ 0x55);
    writeFile(dir.filePath("damaged.mp4"), damaged);
    writeFile(dir.filePath("recipe.json"),
              R"({"name": "Damaged", "components": [{"kind": "import", "file": "damaged.mp4"}]})");
    const QString recipe = dir.filePath("recipe.json");

    // check has no -v of its own: the one every command takes lets the decoder speak.
    const TestSupport::ToolResult plain = tool({"check", recipe});
    EXPECT_EQ(plain.code, 0) << plain.errors.toStdString();
    EXPECT_EQ(plain.errors, "");
    const TestSupport::ToolResult verbose = tool({"check", "-v", recipe});
    EXPECT_EQ(verbose.code, 0) << verbose.errors.toStdString();
    EXPECT_EQ(verbose.output, plain.output);
    EXPECT_TRUE(verbose.errors.startsWith("packwright: warning: [h264 @ "))
        << verbose.errors.toStdString();

    const TestSupport::ToolResult built = tool({"build", "--verbose", recipe});
    EXPECT_EQ(built.code, 0) << built.errors.toStdString();
    EXPECT_TRUE(built.errors.contains("error while decoding")) << built.errors.toStdString();
    const TestSupport::ToolResult quiet =
        tool({"build", "-q", recipe, "-o", dir.filePath("quiet.qpack")});
    EXPECT_EQ(quiet.code, 0);
    EXPECT_EQ(quiet.output + quiet.errors, "");
}
