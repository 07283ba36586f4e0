// The tool's conventions: `-` for the standard streams, -o / -C, --force, several packages,
// --json documents and the exit codes.

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include "test_support.h"

namespace {

using TestSupport::tool;

const QString kExamples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/");

struct Piped {
    int code = -1;
    QByteArray output;  // bytes: a package may come out here
    QString errors;
};

// Runs the tool (or another program) in `folder` with `input` on its standard input.
Piped runIn(const QString& folder, const QStringList& arguments, const QByteArray& input = {},
            const QString& program = QStringLiteral(PACKWRIGHT_TOOL)) {
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(-1);
    Piped run;
    run.code = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.output = process.readAllStandardOutput();
    run.errors = QString::fromUtf8(process.readAllStandardError());
    return run;
}

// A recipe of one LUT effect whose files lie in `folder`, named relative to it.
QByteArray smallRecipe(const QString& folder, const QString& name = QStringLiteral("Small")) {
    QFile::copy(kExamples + "preview.png", folder + "/p.png");
    QFile::copy(kExamples + "effects/warm-afternoon.cube", folder + "/warm.cube");
    return R"({"name": ")" + name.toUtf8() + R"(", "preview": "p.png", "components": [
        {"kind": "lut-effect", "title": "Warm", "lut": "warm.cube"}]})";
}

QString smallPackage(const QTemporaryDir& dir, const QString& name = QStringLiteral("small")) {
    TestSupport::writeFile(dir.filePath(name + ".json"), smallRecipe(dir.path()));
    const QString package = dir.filePath(name + ".qpack");
    const auto built = tool({"build", dir.filePath(name + ".json"), "-o", package});
    EXPECT_EQ(built.code, 0) << built.errors.toStdString();
    return package;
}

QString sha256(const QByteArray& bytes) {
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

}  // namespace

TEST(Conventions, TheRecipeComesFromStandardInputWithPathsFromTheCurrentFolder) {
    QTemporaryDir dir;
    const QByteArray recipe = smallRecipe(dir.path(), QStringLiteral("FromStdin"));
    const Piped built = runIn(dir.path(), {"build", "-"}, recipe);
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    const QStringList entries = TestSupport::zipEntries(dir.filePath("FromStdin.qpack"));
    EXPECT_TRUE(entries.contains("preview.png")) << entries.join(' ').toStdString();
    EXPECT_EQ(entries.filter("warm.cube").size(), 1) << entries.join(' ').toStdString();

    EXPECT_EQ(runIn(dir.path(), {"check", "-"}, recipe).code, 0);
    // Messages name the stream; a file of the current folder is looked for there.
    const Piped broken = runIn(dir.path(), {"build", "-", "-o", "x.qpack"},
                               R"({"name": "B", "preview": "absent.png", "components": []})");
    EXPECT_EQ(broken.code, 1);
    EXPECT_TRUE(broken.errors.contains("<stdin>: previewPath: cannot read the image " +
                                       dir.filePath("absent.png")))
        << broken.errors.toStdString();
    EXPECT_EQ(runIn(dir.path(), {"check", "-"}, "not json").code, 2);
    EXPECT_EQ(runIn(dir.path(), {"build", "-", "other.json"}, recipe).code, 2);
}

TEST(Conventions, DashSendsTheOneFileMadeToStandardOutputAndTheReportToStandardError) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("r.json"), smallRecipe(dir.path()));
    const QString uuid = QStringLiteral("{5e0c2f4a-8d1b-4c3e-9f60-7a2b1c0d9e8f}");
    const Piped piped =
        runIn(dir.path(), {"build", "r.json", "-o", "-", "--print-hash", "--uuid", uuid});
    ASSERT_EQ(piped.code, 0) << piped.errors.toStdString();
    EXPECT_TRUE(piped.errors.contains("sha256 " + sha256(piped.output) + "  -"))
        << piped.errors.toStdString();
    TestSupport::writeFile(dir.filePath("piped.qpack"), piped.output);
    const QString package = dir.filePath("file.qpack");
    ASSERT_EQ(tool({"build", dir.filePath("r.json"), "-o", package, "--uuid", uuid}).code, 0);
    EXPECT_EQ(TestSupport::zipEntries(dir.filePath("piped.qpack")),
              TestSupport::zipEntries(package));

    // The same bytes as the file each command writes otherwise; each pair runs in folders of its
    // own, since a recipe names the files it unpacked relative to the current one.
    const std::pair<QStringList, QString> cases[] = {
        {{"extract", package, "effects[0]", "-o"}, "item.xml"},
        {{"preview", package, "--format", "png", "-o"}, "sheet.png"},
        {{"open", package, "-C", "opened", "--recipe"}, "again.json"},
    };
    int round = 0;
    for (const auto& [arguments, file] : cases) {
        const QString toFile = dir.filePath(QStringLiteral("file-%1").arg(++round));
        const QString toPipe = dir.filePath(QStringLiteral("pipe-%1").arg(round));
        QDir().mkpath(toFile);
        QDir().mkpath(toPipe);
        const Piped written = runIn(toFile, QStringList(arguments) << file);
        ASSERT_EQ(written.code, 0) << written.errors.toStdString();
        const Piped sent = runIn(toPipe, QStringList(arguments) << "-");
        ASSERT_EQ(sent.code, 0) << sent.errors.toStdString();
        EXPECT_FALSE(sent.output.isEmpty());
        EXPECT_EQ(sent.output, TestSupport::readFile(toFile + "/" + file)) << file.toStdString();
        EXPECT_FALSE(sent.errors.isEmpty()) << file.toStdString();  // the report
        EXPECT_EQ(QDir(toPipe).entryList(QDir::Files), QStringList()) << file.toStdString();
    }
    // Two documents cannot share one stream.
    EXPECT_EQ(runIn(dir.path(), {"build", "r.json", "-o", "-", "--json"}).code, 2);
}

// As tar and gzip: bytes meant for a file do not go to a terminal (script(1) gives the tool one).
TEST(Conventions, NothingButTextIsWrittenToATerminal) {
    if (QStandardPaths::findExecutable("script").isEmpty())
        GTEST_SKIP() << "no script(1) to run the tool on a terminal";
    QTemporaryDir dir;
    const QString package = smallPackage(dir);
    const QString tool = QStringLiteral(PACKWRIGHT_TOOL);
    const QString commands[] = {
        tool + " build small.json -o -",
        tool + " extract small.qpack effects[0] -o -",
        tool + " preview small.qpack -o -",
    };
    for (const QString& command : commands) {
        const Piped run = runIn(dir.path(), {"-qec", command, "/dev/null"}, {}, "script");
        EXPECT_EQ(run.code, 2) << command.toStdString();
        EXPECT_TRUE(run.output.contains("to a terminal; redirect the output or name a file"))
            << run.output.toStdString();
    }
}

TEST(Conventions, SeveralPackagesGiveOneDocumentEachAndTheWorstExitCode) {
    QTemporaryDir dir;
    const QString a = smallPackage(dir, "a");
    const QString b = smallPackage(dir, "b");
    TestSupport::writeFile(dir.filePath("text.qpack"), "not a zip");
    const QString absent = dir.filePath("absent.qpack");

    const auto inspected = tool({"inspect", "--json", a, absent, b});
    EXPECT_EQ(inspected.code, 1);
    const QStringList lines = inspected.output.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 3) << inspected.output.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(lines[0].toUtf8()).object().value("package"), a);
    EXPECT_TRUE(QJsonDocument::fromJson(lines[1].toUtf8()).object().contains("error"));
    EXPECT_EQ(QJsonDocument::fromJson(lines[2].toUtf8()).object().value("description")["name"],
              "Small");
    EXPECT_TRUE(inspected.errors.contains("absent.qpack: no such package file"));

    const auto listed = tool({"ls", a, b});
    EXPECT_EQ(listed.code, 0);
    EXPECT_TRUE(listed.output.contains("package " + a + "\n"));
    EXPECT_TRUE(listed.output.contains("\n\npackage " + b + "\n")) << listed.output.toStdString();

    // verify: a package with problems is 1, one that could not be checked 2.
    EXPECT_EQ(tool({"verify", a, b}).code, 0);
    EXPECT_EQ(tool({"verify", dir.filePath("text.qpack"), a}).code, 1);
    EXPECT_EQ(tool({"verify", dir.filePath("text.qpack"), absent, a}).code, 2);
    const auto json = tool({"verify", "--json", a, b});
    EXPECT_EQ(json.output.count('\n'), 2) << json.output.toStdString();
}

TEST(Conventions, ExistingFilesAreReplacedOnlyWithForce) {
    QTemporaryDir dir;
    const QString package = smallPackage(dir);
    const QString mine = dir.filePath("mine");
    const QStringList commands[] = {
        {"build", dir.filePath("small.json"), "-o", mine},
        {"extract", package, "effects[0]", "-o", mine},
        {"preview", package, "--format", "html", "-o", mine},
        {"open", package, "--into", "%1", "--recipe", mine},
    };
    for (const QStringList& command : commands) {
        TestSupport::writeFile(mine, "keep me");
        QStringList refusedCommand = command, forcedCommand = command;
        refusedCommand.replaceInStrings("%1", dir.filePath("refused"));
        forcedCommand.replaceInStrings("%1", dir.filePath("forced"));
        const auto refused = tool(refusedCommand);
        EXPECT_EQ(refused.code, 1) << command.join(' ').toStdString();
        EXPECT_TRUE(refused.errors.contains(mine + ": already exists; not overwritten (give "
                                                   "--force to replace it)"))
            << refused.errors.toStdString();
        EXPECT_EQ(TestSupport::readFile(mine), "keep me");
        const auto forced = tool(forcedCommand << "--force");
        EXPECT_EQ(forced.code, 0) << forced.errors.toStdString();
        EXPECT_NE(TestSupport::readFile(mine), "keep me") << command.join(' ').toStdString();
    }
    // A refused open leaves no folder behind.
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("refused")));
}

TEST(Conventions, FinalizeWritesIntoDashCAndTakesTheOldSpellingWithAWarning) {
    QTemporaryDir dir;
    const QString editable = dir.filePath("editable.qpack");
    ASSERT_EQ(tool({"build", kExamples + "editable-title.json", "-o", editable}).code, 0);
    const QString finished = dir.filePath("out/Beach Day Title (editable).qpack");

    const auto json = tool({"finalize", editable, "-C", dir.filePath("out"), "--json"});
    ASSERT_EQ(json.code, 0) << json.errors.toStdString();
    const QJsonObject report = QJsonDocument::fromJson(json.output.toUtf8()).object();
    EXPECT_EQ(report.value("package"), finished);
    EXPECT_EQ(report.value("sha256"), sha256(TestSupport::readFile(finished)));
    EXPECT_EQ(report.value("bytes").toDouble(), QFileInfo(finished).size());
    EXPECT_TRUE(TestSupport::isBracedUuid(report.value("uuid").toString()));
    EXPECT_EQ(report.value("warnings").toArray().size(), 0);

    // The finished package is there now: refused, then replaced with --force.
    EXPECT_EQ(tool({"finalize", editable, "--into", dir.filePath("out")}).code, 1);
    // Spoil the refused file, so that replacing it shows.
    TestSupport::writeFile(finished, "not a package");
    const auto old = tool({"finalize", editable, "-o", dir.filePath("out"), "--force", "--json"});
    EXPECT_EQ(old.code, 0) << old.errors.toStdString();
    EXPECT_TRUE(old.errors.contains("warning: finalize: -o DIR is the old spelling of -C DIR"));
    const QJsonObject again = QJsonDocument::fromJson(old.output.toUtf8()).object();
    // Finalizing one package again gives the same ids.
    EXPECT_EQ(again.value("uuid"), report.value("uuid"));
    EXPECT_EQ(again.value("sha256"), sha256(TestSupport::readFile(finished)));
    EXPECT_EQ(again.value("warnings").toArray().size(), 1);
    EXPECT_EQ(QDir(dir.filePath("out")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
              QStringList{QFileInfo(finished).fileName()});
}

TEST(Conventions, BuildJsonCarriesTheWarningsOnStandardErrorToo) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("r.json"), smallRecipe(dir.path()));
    // A value that is not a number: a warning of the content checks, which do not stop the build.
    QByteArray table = "LUT_3D_SIZE 2\nnan 0 0\n";
    for (int row = 1; row < 8; ++row)
        table += QByteArray::number(row & 1) + " " + QByteArray::number((row >> 1) & 1) + " " +
                 QByteArray::number((row >> 2) & 1) + "\n";
    QFile::remove(dir.filePath("warm.cube"));
    TestSupport::writeFile(dir.filePath("warm.cube"), table);
    const auto built = tool({"build", dir.filePath("r.json"), "--json"});
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    const QJsonObject package =
        QJsonDocument::fromJson(built.output.toUtf8()).object()["packages"].toArray()[0].toObject();
    const QJsonArray warnings = package.value("warnings").toArray();
    ASSERT_EQ(warnings.size(), 1) << built.output.toStdString();
    EXPECT_TRUE(warnings[0].toString().contains("warning: value nan is not a number"));
    EXPECT_TRUE(built.errors.contains(warnings[0].toString()));
    EXPECT_EQ(package.value("sha256"),
              sha256(TestSupport::readFile(package.value("package").toString())));
}

// Every command's codes as docs/cli.md tabulates them.
TEST(Conventions, ExitCodesPerCommand) {
    QTemporaryDir dir;
    const QString good = smallPackage(dir);
    const QString text = dir.filePath("text.qpack");
    TestSupport::writeFile(text, "not a zip");
    TestSupport::writeFile(dir.filePath("bad.json"),
                           R"({"name": "x", "components": [{"kind": "teleporter"}]})");
    const QString absent = dir.filePath("absent.qpack");
    const QString recipe = dir.filePath("small.json");
    const std::pair<QStringList, int> cases[] = {
        {{"build", recipe, "-o", dir.filePath("b.qpack")}, 0},
        {{"build", dir.filePath("bad.json")}, 1},
        {{"build", recipe, "--jobs", "0"}, 2},
        {{"check", recipe}, 0},
        {{"check", dir.filePath("bad.json")}, 1},
        {{"check", absent}, 2},
        {{"inspect", good}, 0},
        {{"inspect", text}, 1},
        {{"inspect"}, 2},
        {{"ls", good, absent}, 1},
        {{"ls", "--tree", good}, 2},
        {{"verify", good}, 0},
        {{"verify", text}, 1},
        {{"verify", absent}, 2},
        {{"diff", good, good}, 0},
        {{"diff", good, absent}, 2},
        {{"extract", good, "package.xml", "-o", dir.filePath("p.xml")}, 0},
        {{"extract", good, "nothing.xml", "-o", dir.filePath("n.xml")}, 1},
        {{"extract", good, "package.xml"}, 2},
        {{"open", good, "--into", dir.filePath("opened")}, 0},
        {{"open", text, "--into", dir.filePath("opened-text")}, 1},
        {{"open", good}, 2},
        {{"finalize", good, "-C", dir.filePath("final")}, 1},
        {{"finalize", good}, 2},
        {{"finalize", good, "-C", dir.filePath("a"), "-o", dir.filePath("b")}, 2},
        {{"preview", good, "-o", dir.filePath("s.html")}, 0},
        {{"preview", text, "-o", dir.filePath("t.html")}, 1},
        {{"preview", good, "--format", "gif", "-o", dir.filePath("s.gif")}, 2},
    };
    for (const auto& [arguments, code] : cases) {
        const auto result = tool(arguments);
        EXPECT_EQ(result.code, code) << arguments.join(' ').toStdString() << "\n"
                                     << result.errors.toStdString();
    }
}
