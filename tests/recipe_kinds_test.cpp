#include <gtest/gtest.h>

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "cli/cli_error.h"
#include "cli/component_factory.h"
#include "cli/recipe.h"
#include "test_support.h"

namespace {

using Result = TestSupport::ToolResult;
using TestSupport::tool;

QJsonObject inspectJson(const QString& package) {
    const Result json = tool({"inspect", package, "--json"});
    EXPECT_EQ(json.code, 0) << json.errors.toStdString();
    return QJsonDocument::fromJson(json.output.toUtf8()).object();
}

// The message of making every component of a one-component recipe, or "" when it is accepted.
QString makeError(const QByteArray& component, QStringList* warnings = nullptr) {
    const QByteArray json =
        R"({"name": "x", "components": [{"kind": "lut-effect", "lut": "a"},)" + component + "]}";
    const Cli::Recipe recipe = Cli::Recipe::parse(json, QStringLiteral("/r/recipe.json"));
    QStringList ignored;
    try {
        for (const Cli::ComponentEntry& entry : recipe.components)
            Cli::ComponentFactory::standard().make(entry, recipe, warnings ? *warnings : ignored);
    } catch (const Cli::Error& error) {
        return QString::fromStdString(error.what());
    }
    return QString();
}

}  // namespace

TEST(RecipeKinds, TheExampleHoldsOneOfEachKindWithItsResources) {
    QTemporaryDir dir;
    const QString package = dir.filePath("example.qpack");
    const Result built = tool({"build", PACKWRIGHT_SOURCE_DIR "/examples/recipe.json", "-o",
                               package, "--strict", "--uuid", "{example}"});
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    EXPECT_TRUE(built.output.contains("built ")) << built.output.toStdString();
    EXPECT_TRUE(built.errors.isEmpty()) << built.errors.toStdString();  // no progress on a pipe

    const QStringList entries = TestSupport::zipEntries(package);
    for (const char* file :
         {"resources/warm-afternoon.cube", "resources/soft-vignette.frag", "resources/grain.png",
          "resources/wipe-mask.png", "resources/light-leak.mp4"})
        EXPECT_TRUE(entries.contains(QLatin1String(file))) << file;
    EXPECT_EQ(TestSupport::zipEntry(package, "resources/light-leak.mp4"),
              TestSupport::readFile(PACKWRIGHT_SOURCE_DIR "/examples/transitions/light-leak.mp4"));

    const Result text = tool({"inspect", package});
    ASSERT_EQ(text.code, 0) << text.errors.toStdString();
    for (const char* line : {"uuid:        {example}", "name:        Summer Essentials"})
        EXPECT_TRUE(text.output.contains(QLatin1String(line))) << text.output.toStdString();

    const QJsonObject json = inspectJson(package);
    const QJsonObject description = json.value("description").toObject();
    EXPECT_EQ(description.value("uuid").toString(), "{example}");
    EXPECT_EQ(description.value("previewPath").toString(), "preview.png");
    const QJsonObject addOns = json.value("addOns").toObject();
    for (const char* list : {"presets", "imports"})
        EXPECT_TRUE(addOns.value(QLatin1String(list)).isArray()) << list;
    const struct {
        const char* list;
        const char* type;
        std::vector<int> resourceKinds;
    } expected[] = {
        {"effects", "Effect::Lut", {4}},
        {"effects", "Effect::ExternalShader", {4, 3}},
        {"transitions", "Transition::ExternalShader", {4, 3}},
        {"transitions", "Transition::MaskTransition", {1}},
        {"transitions", "Transition::Overlay", {1}},
    };
    std::map<QString, int> next;
    for (const auto& e : expected) {
        const QJsonArray list = addOns.value(QLatin1String(e.list)).toArray();
        const int index = next[QLatin1String(e.list)]++;
        ASSERT_LT(index, list.size()) << e.list;
        const QJsonObject addOn = list.at(index).toObject();
        const QJsonObject item = addOn.value("item").toObject();
        EXPECT_EQ(item.value("item").toObject().value("@type").toString(), QLatin1String(e.type));
        // The recipe's metadata lands in the item, whatever the kind.
        EXPECT_EQ(item.value("collectionId").toString(), "summer-essentials") << e.type;
        std::vector<int> kinds;
        for (const QJsonValue resource : addOn.value("resources").toArray())
            kinds.push_back(resource.toObject().value("type").toInt());
        EXPECT_EQ(kinds, e.resourceKinds) << e.type;
        EXPECT_TRUE(entries.contains(addOn.value("path").toString() + "item.xml")) << e.type;
    }
    EXPECT_EQ(addOns.value("effects").toArray().size(), 2);
    EXPECT_EQ(addOns.value("transitions").toArray().size(), 3);
}

TEST(RecipeKinds, BrokenComponentsNameTheComponentAndTheField) {
    const struct {
        QByteArray component;
        const char* message;
    } cases[] = {
        {R"({"kind": "lut"})",
         "/r/recipe.json: components[1].kind: unknown kind 'lut' (known kinds: import, "},
        {R"({"kind": "lut-effect"})",
         "/r/recipe.json: components[1].lut: missing (a string is required)"},
        {R"({"kind": "lut-effect", "lut": 3})",
         "/r/recipe.json: components[1].lut: expected a string, found a number"},
        {R"({"kind": "lut-effect", "lut": ""})",
         "/r/recipe.json: components[1].lut: must not be empty"},
        {R"({"kind": "shader-effect", "shader": "s", "intensity": "high"})",
         "/r/recipe.json: components[1].intensity: expected a number, found a string"},
        {R"({"kind": "shader-transition", "shader": "s", "supportsIntensity": 1})",
         "/r/recipe.json: components[1].supportsIntensity: expected true or false, found a "
         "number"},
        {R"({"kind": "mask-transition"})",
         "/r/recipe.json: components[1].source: missing (a string is required)"},
        {R"({"kind": "overlay-transition", "source": "o", "categories": "a"})",
         "/r/recipe.json: components[1].categories: expected a list of strings, found a string"},
        {R"({"kind": "overlay-transition", "source": "o", "categories": ["a", 2]})",
         "/r/recipe.json: components[1].categories[1]: expected a string, found a number"},
        {R"({"kind": "mask-transition", "source": "o", "collectionId": null})",
         "/r/recipe.json: components[1].collectionId: expected a string, found null"},
        {R"({"kind": "mask-transition", "source": "o", "sorce": "o"})",
         "/r/recipe.json: components[1].sorce: unknown field for kind 'mask-transition'"},
        {R"({"kind": "overlay", "timeline": ")" PACKWRIGHT_SOURCE_DIR
         R"(/examples/media/title.json", "videoTiming": {"lenght": 5}})",
         "/r/recipe.json: components[1].videoTiming.lenght: unknown field"},
        {R"({"kind": "lut-effect", "lut": "a", "previewPath": "missing.png"})",
         "/r/recipe.json: components[1].previewPath: cannot read the image /r/missing.png"},
    };
    for (const auto& c : cases) {
        const QString message = makeError(c.component);
        EXPECT_TRUE(message.startsWith(QLatin1String(c.message)))
            << c.component.toStdString() << "\n got: " << message.toStdString();
    }
}

TEST(RecipeKinds, MissingSourcesWarnAndStrictTurnsThemIntoErrorsBeforeWriting) {
    QStringList warnings;
    EXPECT_EQ(makeError(R"({"kind": "shader-effect", "shader": "s.frag", "auxImage": "a.png"})",
                        &warnings),
              QString());
    EXPECT_EQ(warnings, (QStringList{"/r/recipe.json: components[0].lut: no such file: /r/a",
                                     "/r/recipe.json: components[1].shader: no such file: "
                                     "/r/s.frag",
                                     "/r/recipe.json: components[1].auxImage: no such file: "
                                     "/r/a.png"}));

    QTemporaryDir dir;
    TestSupport::writeFile(
        dir.filePath("mask.png"),
        TestSupport::readFile(PACKWRIGHT_SOURCE_DIR "/examples/transitions/wipe-mask.png"));
    const QString recipe = dir.filePath("recipe.json");
    TestSupport::writeFile(recipe, R"({"name": "Looks", "components": [
        {"kind": "lut-effect", "title": "Gone", "lut": "gone.cube"},
        {"kind": "mask-transition", "source": "mask.png"}]})");
    const QString package = dir.filePath("Looks.qpack");

    const Result strict = tool({"build", recipe, "--strict"});
    EXPECT_EQ(strict.code, 1);
    EXPECT_TRUE(strict.errors.contains(QStringLiteral("components[0].lut: no such file")))
        << strict.errors.toStdString();
    EXPECT_FALSE(QFileInfo::exists(package));

    // Without --strict the build goes on: the effect is stored without its LUT.
    const Result built = tool({"build", recipe});
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    EXPECT_TRUE(built.errors.contains(QStringLiteral("warning: ")));
    const QJsonObject effect =
        inspectJson(package).value("addOns").toObject().value("effects").toArray().at(0).toObject();
    EXPECT_TRUE(effect.value("resources").toArray().isEmpty());
    EXPECT_EQ(effect.value("item").toObject().value("item").toObject().value("lutResource"),
              QJsonValue(QString()));
    EXPECT_TRUE(TestSupport::zipEntries(package).contains("resources/mask.png"));
}
