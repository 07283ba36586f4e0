#include <gtest/gtest.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "checks_corpus.h"
#include "test_support.h"

// `packwright verify --content`: the content checks on what a built package holds. The broken
// packages are built from the corpus with the checks turned off, as a package made before them
// (or by another tool) would be.

namespace {

using TestSupport::tool;

// The line of `text` that starts with `prefix` and holds `rest`, or "".
QString lineWith(const QString& text, const QString& prefix, const QString& rest) {
    for (const QString& line : text.split('\n')) {
        if (line.startsWith(prefix) && line.contains(rest))
            return line;
    }
    return QString();
}

}  // namespace

TEST(VerifyContent, EachBrokenInputIsReportedWithItsItemAndItsFileInThePackage) {
    for (const ChecksCorpus::Broken& broken : ChecksCorpus::brokenInputs()) {
        QTemporaryDir dir;
        ChecksCorpus::writeRecipe(dir.path(), broken);
        QDir::setCurrent(dir.path());
        const TestSupport::ToolResult built = tool({"build", "recipe.json", "--no-checks"});
        ASSERT_EQ(built.code, 0) << broken.what << ": " << built.errors.toStdString();

        // The archive, its description and its items are sound: only the content is wrong.
        const TestSupport::ToolResult plain = tool({"verify", "out.qpack"});
        EXPECT_EQ(plain.code, 0) << broken.what << ": " << plain.output.toStdString();

        const TestSupport::ToolResult verified = tool({"verify", "out.qpack", "--content"});
        EXPECT_EQ(verified.code, 1) << broken.what;
        EXPECT_FALSE(
            lineWith(verified.output, "out.qpack: " + broken.item, broken.packaged).isEmpty())
            << broken.what << "\n wanted: " << broken.item.toStdString() << "..."
            << broken.packaged.toStdString() << "\n got: " << verified.output.toStdString();
    }
}

TEST(VerifyContent, JsonFindingsNameTheItemTheFileAndTheLine) {
    QTemporaryDir dir;
    const ChecksCorpus::Broken broken = ChecksCorpus::brokenInputs().front();  // a row too few
    ChecksCorpus::writeRecipe(dir.path(), broken);
    QDir::setCurrent(dir.path());
    ASSERT_EQ(tool({"build", "recipe.json", "--no-checks"}).code, 0);
    const TestSupport::ToolResult verified = tool({"verify", "out.qpack", "--content", "--json"});
    EXPECT_EQ(verified.code, 1);
    const QJsonObject json = QJsonDocument::fromJson(verified.output.toUtf8()).object();
    EXPECT_FALSE(json.value("ok").toBool());
    EXPECT_TRUE(json.value("problems").toArray().isEmpty());
    const QJsonArray content = json.value("content").toArray();
    ASSERT_EQ(content.size(), 1) << verified.output.toStdString();
    QJsonObject finding = content[0].toObject();
    EXPECT_TRUE(finding.take("message").toString().startsWith("the table has 7 rows"));
    EXPECT_EQ(finding, (QJsonObject{{"severity", "error"},
                                    {"item", "effects[0]"},
                                    {"field", "lutResource"},
                                    {"file", "resources/warm.cube"},
                                    {"line", 2}}));
}

TEST(VerifyContent, TheBundledExamplesBuildIntoPackagesThatCheckClean) {
    const QString examples = QStringLiteral(PACKWRIGHT_SOURCE_DIR) + "/examples";
    QTemporaryDir dir;
    for (const QString& recipe : QDir(examples).entryList({"*.json"}, QDir::Files, QDir::Name)) {
        const QString package = dir.filePath(recipe + ".qpack");
        const TestSupport::ToolResult built =
            tool({"build", examples + "/" + recipe, "-o", package});
        ASSERT_EQ(built.code, 0) << recipe.toStdString() << built.errors.toStdString();
        const TestSupport::ToolResult verified = tool({"verify", package, "--content"});
        EXPECT_EQ(verified.code, 0) << verified.output.toStdString();
        EXPECT_TRUE(verified.output.endsWith(package + ": clean\n"))
            << recipe.toStdString() << ": " << verified.output.toStdString();
    }
}

TEST(VerifyContent, OneMediaFileOfTwoTimingsAndNamesThatDifferInCase) {
    QTemporaryDir dir;
    // Two videos of one name and different lengths, each timed from its own file.
    TestSupport::writeFile(dir.filePath("a/clip.mp4"), ChecksCorpus::videoBytes());
    TestSupport::writeFile(dir.filePath("b/clip.mp4"),
                           TestSupport::readFile(QStringLiteral(PACKWRIGHT_SOURCE_DIR) +
                                                 "/examples/transitions/light-leak.mp4"));
    for (const char* folder : {"a", "b"})
        TestSupport::writeFile(dir.filePath(QString(folder) + "/t.json"),
                               ChecksCorpus::timeline({"clip.mp4"}));
    TestSupport::writeFile(dir.filePath("A/Logo.png"), ChecksCorpus::pngBytes());
    TestSupport::writeFile(dir.filePath("B/logo.png"), ChecksCorpus::pngBytes() + "x");
    TestSupport::writeFile(dir.filePath("recipe.json"), R"({"name": "Two", "components": [
        {"kind": "overlay", "timeline": "a/t.json", "useMediaTiming": true, "collectionId": "a"},
        {"kind": "overlay", "timeline": "b/t.json", "useMediaTiming": true, "collectionId": "b"},
        {"kind": "import", "file": "A/Logo.png", "importKind": "image"},
        {"kind": "import", "file": "B/logo.png", "importKind": "image"}]})");
    QDir::setCurrent(dir.path());
    ASSERT_EQ(tool({"build", "recipe.json", "-o", "two.qpack", "--no-checks"}).code, 0);

    const TestSupport::ToolResult verified = tool({"verify", "two.qpack", "--content"});
    EXPECT_EQ(verified.code, 1);
    const QStringList lines = verified.output.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 4) << verified.output.toStdString();
    EXPECT_EQ(lines[1],
              "two.qpack: presets[1] 'Two'.resources (resources/clip.mp4): error: "
              "'resources/clip.mp4' is recorded as 2000 ms from 0 ms at 25 fps for "
              "presets[0] 'Two' and as 1600 ms from 0 ms at 25 fps for presets[1] "
              "'Two': two different files of that name landed on one");
    EXPECT_EQ(lines[2],
              "two.qpack: imports[1].location (resources/logo.png): warning: "
              "'resources/Logo.png' and 'resources/logo.png' differ only in case: they "
              "clash on a file system that ignores case");
    EXPECT_EQ(lines[3], "two.qpack: 1 error, 1 warning");
}
