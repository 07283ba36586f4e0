// What the tool prints is safe on a terminal and is known to have arrived: texts from a package
// are shown with their control characters escaped, and output that cannot be written fails.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>

#include "test_support.h"

namespace {

using testing::HasSubstr;
using TestSupport::tool;

// Sets the window title, rings, clears the screen, and starts a line that fakes a verdict; then
// reverses the rest of the line and ends with a C1 control sequence introducer.
const QString kHostile = QString::fromUtf8(
    "\x1b]0;owned\x07\x1b[2J\r\nok\t\x7f\xe2\x80\xae"
    "gnp.exe\xc2\x9b");
const QString kShown =
    QStringLiteral("\\x1b]0;owned\\x07\\x1b[2J\\x0d\\x0aok\\x09\\x7f\\u202egnp.exe\\u009b");

bool isTerminalSafe(const QString& text) {
    return std::none_of(text.begin(), text.end(), [](QChar c) {
        const ushort u = c.unicode();
        return (u < 0x20 && u != '\n') || (u >= 0x7f && u <= 0x9f) || (u >= 0x202a && u <= 0x202e);
    });
}

class HostileTexts : public testing::Test {
protected:
    void SetUp() override {
        const QByteArray text = QJsonDocument(QJsonArray{kHostile}).toJson(QJsonDocument::Compact);
        const QByteArray quoted = text.mid(1, text.size() - 2);  // the JSON string, with quotes
        TestSupport::writeFile(
            dir.filePath("recipe.json"),
            R"({"name": "Hostile", "components": [{"kind": "import", "file": ")" PACKWRIGHT_SOURCE_DIR
            R"(/examples/media/sunset.jpg", "importKind": "image", "title": )" +
                quoted + R"(, "description": )" + quoted + R"(, "categories": [)" + quoted +
                R"(]}]})");
        package = dir.filePath("hostile.qpack");
        const auto built = tool({"build", dir.filePath("recipe.json"), "-o", package});
        ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    }

    QTemporaryDir dir;
    QString package;
};

TEST_F(HostileTexts, AreEscapedInPlainOutputAndExactInJson) {
    const QStringList commands[] = {
        {"inspect", package},
        {"open", package, "--into", dir.filePath("opened")},
    };
    for (const QStringList& command : commands) {
        SCOPED_TRACE(command.front().toStdString());
        const auto shown = tool(command);
        ASSERT_EQ(shown.code, 0) << shown.errors.toStdString();
        EXPECT_TRUE(isTerminalSafe(shown.output)) << shown.output.toStdString();
        EXPECT_THAT(shown.output.toStdString(), HasSubstr(kShown.toStdString()));
    }

    // Error messages quote names too.
    const auto missing = tool({"inspect", dir.filePath(kHostile + ".qpack")});
    EXPECT_EQ(missing.code, 1);
    EXPECT_TRUE(isTerminalSafe(missing.errors)) << missing.errors.toStdString();
    EXPECT_THAT(missing.errors.toStdString(), HasSubstr(kShown.toStdString() + ".qpack"));

    const auto shown = tool({"inspect", package, "--json"});
    ASSERT_EQ(shown.code, 0) << shown.errors.toStdString();
    EXPECT_FALSE(shown.output.contains(QChar(0x1b))) << "JSON escapes control characters";
    const QJsonObject report = QJsonDocument::fromJson(shown.output.toUtf8()).object();
    const QJsonObject import = report["addOns"]["imports"][0].toObject();
    EXPECT_EQ(import["item"]["item"]["title"].toString(), kHostile);
    EXPECT_EQ(import["categories"].toObject().keys(), QStringList{kHostile});
}

// Runs the tool with its standard output going to a file of our choice.
TestSupport::ToolResult toolInto(const QString& outputFile, const QStringList& arguments) {
    QProcess process;
    process.setStandardOutputFile(outputFile);
    process.start(QStringLiteral(PACKWRIGHT_TOOL), arguments);
    TestSupport::ToolResult result;
    result.code = process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit
                      ? process.exitCode()
                      : -1;
    result.errors = QString::fromUtf8(process.readAllStandardError());
    return result;
}

TEST(ToolOutput, AFullDiskOnStandardOutputIsAFailure) {
    if (!QFileInfo::exists("/dev/full"))
        GTEST_SKIP() << "no /dev/full on this system";
    QTemporaryDir dir;
    const QString package = dir.filePath("example.qpack");
    ASSERT_EQ(tool({"build", QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/recipe.json"), "-o",
                    package})
                  .code,
              0);
    const QStringList commands[] = {
        {"inspect", package, "--json"}, {"inspect", package}, {"verify", package},
        {"verify", package, "--json"},  {"--version"},        {"--help"},
    };
    for (const QStringList& command : commands) {
        SCOPED_TRACE(command.join(' ').toStdString());
        const auto full = toolInto("/dev/full", command);
        EXPECT_EQ(full.code, 1);
        EXPECT_THAT(full.errors.toStdString(), HasSubstr("cannot write the output"));
        EXPECT_EQ(full.errors.count('\n'), 1) << full.errors.toStdString();
        // The same command with room to write succeeds.
        EXPECT_EQ(toolInto(dir.filePath("out.txt"), command).code, 0);
    }
}

}  // namespace
