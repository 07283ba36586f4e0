// `diff`: two packages compared by what they hold, built for real from recipes that differ in one
// edit each.

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <functional>

#include "test_support.h"

namespace {

using TestSupport::tool;

const QString kExamples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/");

// A recipe with an effect, two imports and a finished title whose clips have keyframes, its files
// copied into `dir` so that an edit can change them.
QJsonObject baseRecipe(const QString& dir) {
    for (const char* file :
         {"effects/warm-afternoon.cube", "media/sunset.jpg", "media/beach.mp4", "media/title.json"})
        TestSupport::writeFile(dir + "/" + file, TestSupport::readFile(kExamples + file));
    const auto object = [](const char* json) { return QJsonDocument::fromJson(json).object(); };
    return QJsonObject{
        {"name", "Diffed"},
        {"components",
         QJsonArray{object(R"({"kind": "lut-effect", "lut": "effects/warm-afternoon.cube",
                               "title": "Warm", "categories": ["color"], "collectionId": "c"})"),
                    object(R"({"kind": "import", "file": "media/sunset.jpg", "title": "Sunset",
                               "importKind": "image"})"),
                    object(R"({"kind": "import", "file": "media/beach.mp4", "title": "Beach",
                               "importKind": "video"})"),
                    object(R"({"kind": "overlay", "overlayType": "title",
                               "timeline": "media/title.json", "firstItemSpan": 300,
                               "secondItemSpan": 300, "useMediaTiming": true})")}}};
}

QString build(const QString& dir, const QJsonObject& recipe, const QString& name) {
    const QString path = dir + "/" + name + ".json";
    TestSupport::writeFile(path, QJsonDocument(recipe).toJson());
    const QString package = dir + "/" + name + ".qpack";
    const auto built = tool({"build", path, "-o", package});
    EXPECT_EQ(built.code, 0) << built.errors.toStdString();
    return package;
}

// Replaces one component of the recipe through `edit`.
void editComponent(QJsonObject& recipe, int index, const std::function<void(QJsonObject&)>& edit) {
    QJsonArray components = recipe["components"].toArray();
    QJsonObject changed = components[index].toObject();
    edit(changed);
    components[index] = changed;
    recipe["components"] = components;
}

// Rewrites the title timeline's clip keyframe x at step 0.3 by `delta`.
void moveKeyframe(const QString& dir, double delta) {
    const QString path = dir + "/media/title.json";
    QJsonObject timeline = QJsonDocument::fromJson(TestSupport::readFile(path)).object();
    QJsonArray clips = timeline["clips"].toArray();
    QJsonObject clip = clips[1].toObject();
    QJsonArray keys = clip["keyframes"].toArray();
    QJsonObject key = keys[1].toObject();
    key["x"] = key["x"].toDouble() + delta;
    keys[1] = key;
    clip["keyframes"] = keys;
    clips[1] = clip;
    timeline["clips"] = clips;
    TestSupport::writeFile(path, QJsonDocument(timeline).toJson());
}

QStringList lines(const QString& text) {
    return text.split('\n', Qt::SkipEmptyParts);
}

}  // namespace

// Each single edit is found, as one line naming the item and what changed; an edit within the
// numeric tolerance, and a second build of the same recipe, are no difference.
TEST(Diff, FindsEachSingleEditAndNothingElse) {
    const struct {
        const char* what;
        std::function<void(QJsonObject& recipe, const QString& dir)> edit;
        QString expected;  // empty: the packages are equal
        bool oneLine;
    } cases[] = {
        {"the same recipe again", [](QJsonObject&, const QString&) {}, {}, true},
        {"a text",
         [](QJsonObject& recipe, const QString&) {
             editComponent(recipe, 1, [](QJsonObject& c) { c["title"] = "Sunrise"; });
         },
         R"(changed imports[0] "Sunset": item.item.title: "Sunset" -> "Sunrise")", true},
        {"a category",
         [](QJsonObject& recipe, const QString&) {
             editComponent(recipe, 0,
                           [](QJsonObject& c) { c["categories"] = QJsonArray{"grade"}; });
         },
         R"(changed effects[0] "Warm": item.categories[0]: "color" -> "grade")", true},
        {"one LUT's bytes",
         [](QJsonObject&, const QString& dir) {
             const QString lut = dir + "/effects/warm-afternoon.cube";
             QByteArray bytes = TestSupport::readFile(lut);
             const int at = bytes.lastIndexOf("0.");
             bytes[at + 2] = bytes[at + 2] == '5' ? '6' : '5';
             TestSupport::writeFile(lut, bytes);
         },
         R"(changed effects[0] "Warm": resources[0].content: "sha256:)", true},
        {"an item removed",
         [](QJsonObject& recipe, const QString&) {
             QJsonArray components = recipe["components"].toArray();
             components.removeAt(1);
             recipe["components"] = components;
         },
         R"(removed imports[0] "Sunset")", true},
        {"a keyframe moved beyond the tolerance",
         [](QJsonObject&, const QString& dir) { moveKeyframe(dir, 1e-6); },
         R"(changed presets[0] "Diffed": item.item.items[2].envelope.keyValues[0].value.x: 0.5 -> 0.500001)",
         false},
        {"a keyframe moved within the tolerance",
         [](QJsonObject&, const QString& dir) { moveKeyframe(dir, 1e-13); },
         {},
         true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        QTemporaryDir dir;
        QJsonObject recipe = baseRecipe(dir.path());
        const QString first = build(dir.path(), recipe, "first");
        c.edit(recipe, dir.path());
        const QString second = build(dir.path(), recipe, "second");

        const auto diffed = tool({"diff", first, second});
        EXPECT_EQ(diffed.errors, QString());
        if (c.expected.isEmpty()) {
            EXPECT_EQ(diffed.code, 0);
            EXPECT_EQ(diffed.output, QString());
            continue;
        }
        EXPECT_EQ(diffed.code, 1);
        EXPECT_TRUE(diffed.output.contains(c.expected)) << diffed.output.toStdString();
        if (c.oneLine) {
            EXPECT_EQ(lines(diffed.output).size(), 1) << diffed.output.toStdString();
        }
    }
}

// The ids of two builds differ; --ids shows them. --json tells the same as the lines, and what
// cannot be compared exits with 2.
TEST(Diff, IdsJsonAndFailures) {
    QTemporaryDir dir;
    QJsonObject recipe = baseRecipe(dir.path());
    const QString first = build(dir.path(), recipe, "first");
    editComponent(recipe, 0, [](QJsonObject& c) { c["description"] = "Cooler"; });
    const QString second = build(dir.path(), recipe, "second");

    const auto ids = tool({"diff", first, first + "", "--ids"});
    EXPECT_EQ(ids.code, 0) << ids.output.toStdString();
    const QString again = build(dir.path(), baseRecipe(dir.path()), "again");
    const auto fresh = tool({"diff", first, again, "--ids"});
    EXPECT_EQ(fresh.code, 1);
    EXPECT_TRUE(fresh.output.contains("changed description: uuid: {"))
        << fresh.output.toStdString();
    EXPECT_TRUE(fresh.output.contains("path: effects/{")) << fresh.output.toStdString();

    const auto json = tool({"diff", first, second, "--json"});
    EXPECT_EQ(json.code, 1);
    const QJsonObject document = QJsonDocument::fromJson(json.output.toUtf8()).object();
    EXPECT_FALSE(document["equal"].toBool());
    const QJsonArray differences = document["differences"].toArray();
    ASSERT_EQ(differences.size(), 1) << json.output.toStdString();
    const QJsonObject difference = differences[0].toObject();
    EXPECT_EQ(difference["change"].toString(), "changed");
    EXPECT_EQ(difference["place"].toString(), "effects[0]");
    EXPECT_EQ(difference["item"].toString(), "Warm");
    EXPECT_EQ(difference["field"].toString(), "item.item.description");
    EXPECT_EQ(difference["before"].toString(), "\"\"");
    EXPECT_EQ(difference["after"].toString(), "\"Cooler\"");

    TestSupport::writeFile(dir.filePath("not.qpack"), "not a zip");
    for (const QStringList& arguments :
         {QStringList{"diff", first, dir.filePath("not.qpack")},
          QStringList{"diff", first, dir.filePath("missing.qpack")}, QStringList{"diff", first}}) {
        const auto failed = tool(arguments);
        EXPECT_EQ(failed.code, 2) << arguments.join(' ').toStdString();
        EXPECT_TRUE(failed.errors.startsWith("packwright: error: ")) << failed.errors.toStdString();
    }
}
