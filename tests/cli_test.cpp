#include <gtest/gtest.h>

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "test_support.h"

namespace {

using Result = TestSupport::ToolResult;
using TestSupport::tool;

QString writeRecipe(const QTemporaryDir& dir, const QByteArray& json) {
    const QString path = dir.filePath(QStringLiteral("recipe.json"));
    TestSupport::writeFile(path, json);
    return path;
}

}  // namespace

TEST(Cli, BuildsTheBundledExampleAndInspectsIt) {
    QTemporaryDir dir;
    const QString package = dir.filePath(QStringLiteral("example.qpack"));
    const Result built = tool(
        {QStringLiteral("build"), QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/recipe.json"),
         QStringLiteral("-o"), package, QStringLiteral("--uuid"), QStringLiteral("{example}")});
    ASSERT_EQ(built.code, 0) << built.output.toStdString();
    EXPECT_TRUE(built.output.contains(QStringLiteral("built "))) << built.output.toStdString();
    // Quiet on a pipe: no progress line.
    EXPECT_TRUE(built.errors.isEmpty()) << built.errors.toStdString();

    const Result text = tool({QStringLiteral("inspect"), package});
    ASSERT_EQ(text.code, 0) << text.output.toStdString();
    EXPECT_TRUE(text.output.contains(QStringLiteral("uuid:        {example}")))
        << text.output.toStdString();
    EXPECT_TRUE(text.output.contains(QStringLiteral("name:        Summer Essentials")));

    const Result json = tool({QStringLiteral("inspect"), package, QStringLiteral("--json")});
    ASSERT_EQ(json.code, 0) << json.output.toStdString();
    const QJsonObject document = QJsonDocument::fromJson(json.output.toUtf8()).object();
    EXPECT_EQ(document.value("description").toObject().value("uuid").toString(),
              QStringLiteral("{example}"));
    EXPECT_EQ(document.value("description").toObject().value("previewPath").toString(),
              QStringLiteral("preview.png"));
    for (const char* list : {"presets", "transitions", "effects", "imports"})
        EXPECT_TRUE(document.value("addOns").toObject().value(QLatin1String(list)).isArray())
            << list;
}

TEST(Cli, KeepWorkLeavesTheWorkingFolderAndNothingElseIsLeftBehind) {
    QTemporaryDir dir;
    TestSupport::writeFile(
        dir.filePath(QStringLiteral("in/p.png")),
        TestSupport::readFile(QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/preview.png")));
    TestSupport::writeFile(
        dir.filePath(QStringLiteral("in/r.json")),
        R"({"name": "Kept", "preview": "p.png", "output": "../out/kept.qpack", "components": []})");
    const Result built =
        tool({QStringLiteral("build"), dir.filePath(QStringLiteral("in/r.json")),
              QStringLiteral("--keep-work"), dir.filePath(QStringLiteral("work"))});
    ASSERT_EQ(built.code, 0) << built.output.toStdString();
    EXPECT_TRUE(QFileInfo(dir.filePath(QStringLiteral("out/kept.qpack"))).isFile());
    EXPECT_TRUE(QFileInfo(dir.filePath(QStringLiteral("work/Kept/package.xml"))).isFile());
    EXPECT_EQ(
        QDir(dir.filePath(QStringLiteral("in"))).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
        (QStringList{"p.png", "r.json"}));

    // A kept working folder is never built into twice.
    const Result again =
        tool({QStringLiteral("build"), dir.filePath(QStringLiteral("in/r.json")),
              QStringLiteral("--keep-work"), dir.filePath(QStringLiteral("work"))});
    EXPECT_EQ(again.code, 1);
    EXPECT_TRUE(again.errors.contains(QStringLiteral("--keep-work needs a folder that is empty")))
        << again.errors.toStdString();
}

TEST(Cli, BrokenRecipesAreRejectedWithTheFieldAndNothingIsWritten) {
    struct Case {
        QByteArray json;
        const char* message;
    };
    const Case cases[] = {
        {"{\n  \"name\": \"x\",\n  \"components\": [,]\n}",
         "recipe.json:3:19: not valid JSON: illegal value"},
        {"[]", "recipe.json: the recipe must be a JSON object"},
        {R"({"components": []})", "recipe.json: name: missing"},
        {R"({"name": 7, "components": []})",
         "recipe.json: name: expected a string, found a number"},
        {R"({"name": "a/b", "components": []})",
         "recipe.json: name: 'a/b' must not hold a path separator"},
        {R"({"name": "x"})", "recipe.json: components: missing"},
        {R"({"name": "x", "components": {}})",
         "recipe.json: components: expected a list, found an object"},
        {R"({"name": "x", "components": [3]})",
         "recipe.json: components[0]: expected an object, found a number"},
        {R"({"name": "x", "components": [{}]})",
         "recipe.json: components[0].kind: expected a string, found nothing"},
        {R"({"name": "x", "components": [{"kind": "teleporter"}]})",
         "components[0].kind: unknown kind 'teleporter'"},
        {R"({"name": "x", "compnents": []})", "recipe.json: unknown field 'compnents'"},
        {R"({"name": "x", "preview": "missing.png", "components": []})",
         "recipe.json: preview: cannot read the image"},
    };
    for (const Case& c : cases) {
        QTemporaryDir dir;
        const Result result = tool({QStringLiteral("build"), writeRecipe(dir, c.json)});
        EXPECT_EQ(result.code, 1) << c.json.toStdString();
        EXPECT_TRUE(result.errors.startsWith(QStringLiteral("packwright: error: ")));
        EXPECT_TRUE(result.errors.contains(QLatin1String(c.message)))
            << "for " << c.json.toStdString() << "\n got: " << result.errors.toStdString();
        EXPECT_TRUE(result.output.isEmpty()) << result.output.toStdString();
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
                  QStringList{"recipe.json"});
    }
}

TEST(Cli, UsageErrorsHelpAndVersion) {
    EXPECT_EQ(tool({}).code, 2);
    EXPECT_EQ(tool({QStringLiteral("frobnicate")}).code, 2);
    EXPECT_EQ(tool({QStringLiteral("build")}).code, 2);
    EXPECT_EQ(tool({QStringLiteral("build"), QStringLiteral("--no-such-option"),
                    QStringLiteral("r.json")})
                  .code,
              2);
    const Result help = tool({QStringLiteral("--help")});
    EXPECT_EQ(help.code, 0);
    EXPECT_TRUE(help.output.contains(QStringLiteral("inspect PACKAGE.qpack")));
    const Result buildHelp = tool({QStringLiteral("build"), QStringLiteral("--help")});
    EXPECT_EQ(buildHelp.code, 0);
    EXPECT_TRUE(buildHelp.output.contains(QStringLiteral("--keep-work")));
    const Result version = tool({QStringLiteral("--version")});
    EXPECT_EQ(version.code, 0);
    EXPECT_TRUE(version.output.startsWith(QStringLiteral("packwright ")));
}

TEST(Cli, InspectNamesWhatIsWrongWithAPackage) {
    QTemporaryDir dir;
    const QString notZip = dir.filePath(QStringLiteral("text.qpack"));
    TestSupport::writeFile(notZip, "this is not a zip file");
    Result result = tool({QStringLiteral("inspect"), notZip});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(result.errors.contains(notZip)) << result.errors.toStdString();

    result = tool({QStringLiteral("inspect"), dir.filePath(QStringLiteral("absent.qpack"))});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(result.errors.contains(QStringLiteral("absent.qpack: no such package file")))
        << result.errors.toStdString();
}
