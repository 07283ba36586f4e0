#include <gtest/gtest.h>

#include <QFileInfo>
#include <QTemporaryDir>

#include "test_support.h"

namespace {

using Result = TestSupport::ToolResult;
using TestSupport::tool;

}  // namespace

TEST(Cli, KeepWorkLeavesTheWorkingFolderAndNothingElseIsLeftBehind) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("in/p.png"),
                           TestSupport::readFile(PACKWRIGHT_SOURCE_DIR "/examples/preview.png"));
    TestSupport::writeFile(
        dir.filePath("in/r.json"),
        R"({"name": "Kept", "preview": "p.png", "output": "../out/kept.qpack", "components": []})");
    const QStringList build = {"build", dir.filePath("in/r.json"), "--keep-work",
                               dir.filePath("work")};
    const Result built = tool(build);
    ASSERT_EQ(built.code, 0) << built.output.toStdString();
    EXPECT_TRUE(QFileInfo(dir.filePath("out/kept.qpack")).isFile());
    EXPECT_TRUE(QFileInfo(dir.filePath("work/Kept/package.xml")).isFile());
    EXPECT_EQ(QDir(dir.filePath("in")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
              (QStringList{"p.png", "r.json"}));

    // A kept working folder is never built into twice.
    const Result again = tool(build);
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
        {R"({"name": "x", "previewPath": "missing.png", "components": []})",
         "recipe.json: previewPath: cannot read the image"},
    };
    for (const Case& c : cases) {
        QTemporaryDir dir;
        const QString recipe = dir.filePath("recipe.json");
        TestSupport::writeFile(recipe, c.json);
        const Result result = tool({"build", recipe});
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
    for (const QStringList& arguments :
         {QStringList{}, QStringList{"frobnicate"}, QStringList{"build"},
          QStringList{"build", "--no-such-option", "r.json"}})
        EXPECT_EQ(tool(arguments).code, 2) << arguments.join(' ').toStdString();
    const std::pair<QStringList, QString> helps[] = {{{"--help"}, "inspect PACKAGE.qpack"},
                                                     {{"build", "--help"}, "--keep-work"},
                                                     {{"--version"}, "packwright "}};
    for (const auto& [arguments, expected] : helps) {
        const Result result = tool(arguments);
        EXPECT_EQ(result.code, 0) << arguments.join(' ').toStdString();
        EXPECT_TRUE(result.output.contains(expected)) << result.output.toStdString();
    }
}

TEST(Cli, InspectNamesWhatIsWrongWithAPackage) {
    QTemporaryDir dir;
    const QString notZip = dir.filePath("text.qpack");
    TestSupport::writeFile(notZip, "this is not a zip file");
    Result result = tool({"inspect", notZip});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(result.errors.contains(notZip)) << result.errors.toStdString();

    result = tool({"inspect", dir.filePath("absent.qpack")});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(result.errors.contains(QStringLiteral("absent.qpack: no such package file")))
        << result.errors.toStdString();
}
