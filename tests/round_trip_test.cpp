// The round trip of every package the tool builds: build, reopen into a recipe, build again, and
// `diff` finds the two packages equal. Over the bundled examples, the packages of the other tests'
// recipes and a generated set with every kind of component.

#include <gtest/gtest.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <random>

#include "generated_recipe.h"
#include "test_support.h"

namespace {

using TestSupport::tool;

const QString kExamples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/");

QString example(const char* file) {
    return kExamples + file;
}

// Builds `recipe`, reopens the package into a recipe in a folder that then moves, builds that and
// compares the two packages. The warnings that reopening gave go to `warnings`.
void roundTrip(const QString& recipe, const QString& work, QString* warnings) {
    const QString first = work + "/first.qpack";
    const auto built = tool({"build", recipe, "-o", first});
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    const auto opened = tool(
        {"open", first, "--into", work + "/edit/unpacked", "--recipe", work + "/edit/again.json"});
    *warnings = opened.errors;
    ASSERT_EQ(opened.code, 0) << opened.errors.toStdString();
    ASSERT_TRUE(QDir().rename(work + "/edit", work + "/moved"));
    const QString second = work + "/second.qpack";
    const auto rebuilt = tool({"build", work + "/moved/again.json", "-o", second, "--strict"});
    ASSERT_EQ(rebuilt.code, 0) << rebuilt.errors.toStdString();
    const auto diffed = tool({"diff", first, second});
    EXPECT_EQ(diffed.code, 0) << diffed.output.toStdString() << diffed.errors.toStdString();
}

}  // namespace

TEST(RoundTrip, BundledExamplesAndTestRecipes) {
    const QStringList recipes = {example("recipe.json"), example("editable-title.json"),
                                 example("title.json")};
    for (const QString& recipe : recipes) {
        SCOPED_TRACE(recipe.toStdString());
        QTemporaryDir dir;
        QString warnings;
        roundTrip(recipe, dir.path(), &warnings);
    }
}

TEST(RoundTrip, GeneratedPackagesOfEveryKind) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        QTemporaryDir dir;
        const QJsonObject recipe{
            {"name", QStringLiteral("Generated %1").arg(seed)},
            {"uuid", QStringLiteral("{00000000-0000-4000-8000-00000000000%1}").arg(seed)},
            {"preview", example("preview.png")},
            {"components",
             TestSupport::generatedComponents(random, dir.path(), seed % 2 == 0, kExamples)}};
        TestSupport::writeFile(dir.filePath("recipe.json"), QJsonDocument(recipe).toJson());
        QString warnings;
        roundTrip(dir.filePath("recipe.json"), dir.path(), &warnings);
        EXPECT_EQ(warnings, QString()) << warnings.toStdString();
    }
}
