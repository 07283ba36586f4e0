// Recipes and timeline files in the names of the Names table and in the old spellings that the
// readers still take: both build the same package, both spellings at once are refused, and what
// the tool writes uses the current names only.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <map>

#include "cli/cli_error.h"
#include "cli/component_factory.h"
#include "cli/old_spellings.h"
#include "cli/recipe.h"
#include "cli/timeline_file.h"
#include "platform/model/timeline_object.h"
#include "test_support.h"

namespace {

using TestSupport::tool;

const QString kExamples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/");

// A timeline of one title whose text item fades, in the old spellings or the current ones.
QByteArray timeline(bool old) {
    const QByteArray kind = old ? "content" : "contentKind";
    const QByteArray in = old ? "fadeIn" : "firstFraction";
    const QByteArray out = old ? "fadeOut" : "secondFraction";
    return R"({"tracks": ["titles"], "clips": [{"track": 0, ")" + kind +
           R"(": "overlay", "position": 0, "length": 2000, "overlay": {"kind": "title",
            "duration": 2000, "items": [{"kind": "text", "content": "Hi", ")" +
           in + R"(": 0.25, ")" + out + R"(": 0.5}]}}]})";
}

// A recipe of a package preview and file, an import, an effect with its own preview and an
// editable title from timeline(old), written into `dir` as `<name>.json`.
QString writeRecipe(const QTemporaryDir& dir, const QString& name, bool old) {
    TestSupport::writeFile(dir.filePath(name + ".timeline.json"), timeline(old));
    const QString preview = old ? "preview" : "previewPath";
    QJsonObject root{{"name", "Spellings"},
                     {"uuid", "{5b0d7bb6-6a43-4f6e-9a6c-3f1c2f0e7a10}"},
                     {preview, kExamples + "preview.png"},
                     {old ? "output" : "package", name + ".qpack"}};
    root["components"] = QJsonArray{
        QJsonObject{{"kind", "import"},
                    {"title", "Sunset"},
                    {old ? "file" : "path", kExamples + "media/sunset.jpg"},
                    {old ? "importKind" : "importType", "image"}},
        QJsonObject{{"kind", "lut-effect"},
                    {"lut", kExamples + "effects/warm-afternoon.cube"},
                    {preview, kExamples + "effects/grain.png"}},
        QJsonObject{{"kind", "intermediate-overlay"}, {"timeline", name + ".timeline.json"}},
    };
    const QString path = dir.filePath(name + ".json");
    TestSupport::writeFile(path, QJsonDocument(root).toJson());
    return path;
}

// Every stored item of a package by its entry name.
std::map<QString, QByteArray> storedItems(const QString& package) {
    std::map<QString, QByteArray> items;
    for (const QString& entry : TestSupport::zipEntries(package)) {
        if (entry.endsWith(QLatin1String("item.xml")))
            items[entry] = TestSupport::zipEntry(package, entry);
    }
    return items;
}

QString errorOf(const std::function<void()>& read) {
    try {
        read();
    } catch (const Cli::Error& error) {
        return QString::fromUtf8(error.what());
    }
    return QString();
}

// The Names table of docs/recipe.md: its current names (the second column) and its old spellings
// (the third, each the old spelling of the name in the same place), each in backquotes.
struct NamesTable {
    QSet<QString> names;
    std::map<QString, QString> oldToCurrent;
};

NamesTable namesTable() {
    QFile file(QStringLiteral(PACKWRIGHT_SOURCE_DIR "/docs/recipe.md"));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    const int start = lines.indexOf(QStringLiteral("## Names"));
    EXPECT_GE(start, 0) << "docs/recipe.md has no Names section";
    static const QRegularExpression quoted(QStringLiteral("`([^`]+)`"));
    const auto words = [](const QString& cell) {
        QStringList found;
        for (auto it = quoted.globalMatch(cell); it.hasNext();)
            found << it.next().captured(1);
        return found;
    };
    NamesTable table;
    for (int i = start + 1; start >= 0 && i < lines.size() && !lines[i].startsWith("## "); ++i) {
        const QStringList cells = lines[i].split(QLatin1Char('|'));
        if (!lines[i].startsWith(QLatin1Char('|')) || cells.size() < 5)
            continue;
        const QStringList names = words(cells[2]);
        for (const QString& name : names)
            table.names.insert(name);
        const QStringList olds = words(cells[3]);
        for (int k = 0; k < olds.size(); ++k)
            table.oldToCurrent[olds[k]] = names.value(k);
    }
    return table;
}

// Every key of a JSON document, nested ones included.
void collectKeys(const QJsonValue& value, QSet<QString>& keys) {
    if (value.isObject()) {
        const QJsonObject object = value.toObject();
        for (auto it = object.begin(); it != object.end(); ++it) {
            keys.insert(it.key());
            collectKeys(it.value(), keys);
        }
    } else if (value.isArray()) {
        for (const QJsonValue& element : value.toArray())
            collectKeys(element, keys);
    }
}

QSet<QString> keysOf(const QString& path) {
    QSet<QString> keys;
    collectKeys(QJsonDocument::fromJson(TestSupport::readFile(path)).object(), keys);
    return keys;
}

}  // namespace

TEST(OldSpellings, OldAndCurrentNamesBuildTheSamePackage) {
    QTemporaryDir dir;
    for (const char* name : {"old", "current"}) {
        const auto built = tool({"build", writeRecipe(dir, name, QLatin1String(name) == "old")});
        ASSERT_EQ(built.code, 0) << built.errors.toStdString();
        EXPECT_TRUE(QFile::exists(dir.filePath(QString(name) + ".qpack"))) << name;
    }
    const auto oldItems = storedItems(dir.filePath("old.qpack"));
    EXPECT_EQ(oldItems.size(), 4u);  // the editable title is a preset and its project
    EXPECT_EQ(storedItems(dir.filePath("current.qpack")), oldItems);
    // Ids included: the project bundle's timeline and every resource compare equal too.
    const auto diff =
        tool({"diff", dir.filePath("old.qpack"), dir.filePath("current.qpack"), "--ids"});
    EXPECT_EQ(diff.code, 0) << diff.output.toStdString() << diff.errors.toStdString();

    // The fades and the clip's content kind are read, not dropped, in either spelling.
    for (const bool old : {true, false}) {
        const Timeline::Object read = Cli::TimelineFile::parse(timeline(old), "t.json");
        ASSERT_EQ(read.clips().size(), 1u);
        EXPECT_EQ(read.clips()[0]->timing.contentKind, Timeline::OverlayContent);
        const Overlay::Preset* preset = read.clips()[0]->overlayPreset();
        ASSERT_TRUE(preset && preset->items.size() == 1);
        EXPECT_EQ(preset->items[0].firstFraction, 0.25);
        EXPECT_EQ(preset->items[0].secondFraction, 0.5);
    }
}

TEST(OldSpellings, BothSpellingsOfOneFieldAreAnErrorNamingTheLine) {
    const struct {
        bool recipe;
        QByteArray json;
        const char* message;
    } cases[] = {
        {true,
         "{\"name\": \"x\",\n \"previewPath\": \"a.png\",\n \"preview\": \"b.png\",\n"
         " \"components\": []}",
         "r.json:3: previewPath: given twice, as 'previewPath' and as its old spelling "
         "'preview' (keep 'previewPath')"},
        {true,
         "{\"name\": \"x\", \"components\": [\n {\"kind\": \"lut-effect\", \"lut\": \"a\"},\n"
         " {\"kind\": \"import\",\n  \"file\": \"a.png\", \"path\": \"b.png\"}]}",
         "r.json:4: components[1].path: given twice, as 'path' and as its old spelling 'file'"},
        {true,
         "{\"name\": \"x\", \"components\": [{\"kind\": \"import\", \"path\": \"a.png\",\n"
         " \"importType\": \"image\",\n \"importKind\": \"image\"}]}",
         "r.json:3: components[0].importType: given twice"},
        {false,
         "{\"tracks\": [\"a\"], \"clips\": [\n {\"track\": 0, \"position\": 0, \"length\": 1},\n"
         " {\"track\": 0, \"position\": 0, \"length\": 1, \"overlay\": {\"items\": [{},\n"
         "  {\"firstFraction\": 0.1,\n   \"fadeIn\": 0.2}]}}]}",
         "t.json:5: clips[1].overlay.items[1].firstFraction: given twice, as 'firstFraction' and "
         "as its old spelling 'fadeIn'"},
    };
    for (const auto& c : cases) {
        const QString message = errorOf([&] {
            if (c.recipe)
                Cli::Recipe::parse(c.json, "r.json");
            else
                Cli::TimelineFile::parse(c.json, "t.json");
        });
        EXPECT_TRUE(message.startsWith(QLatin1String(c.message))) << message.toStdString();
    }

    // Old spellings are a kind's own: an effect knows no "file".
    const Cli::Recipe recipe = Cli::Recipe::parse(
        R"({"name": "x", "components": [{"kind": "lut-effect", "lut": "a", "file": "b"}]})",
        "r.json");
    QStringList warnings;
    EXPECT_EQ(errorOf([&] {
                  Cli::ComponentFactory::standard().make(recipe.components[0], recipe, warnings);
              }),
              "r.json: components[0].file: unknown field for kind 'lut-effect'");

    // The tool refuses such a recipe before it writes anything.
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("both.json"),
                           R"({"name": "Both", "components": [
        {"kind": "import", "file": "a.png", "path": "a.png"}]})");
    const auto built = tool({"build", dir.filePath("both.json")});
    EXPECT_EQ(built.code, 1);
    EXPECT_TRUE(built.errors.contains("both.json:2: components[0].path: given twice"))
        << built.errors.toStdString();
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList{"both.json"});
}

TEST(OldSpellings, OpenWritesRecipesInTheNamesOfTheTable) {
    const NamesTable table = namesTable();
    // The table and the readers agree on every old spelling.
    std::map<QString, QString> read;
    for (const auto* spellings : {&Cli::OldSpellings::recipe(), &Cli::OldSpellings::timeline()}) {
        for (const auto& rename : spellings->renames())
            read[rename.old] = rename.current;
    }
    EXPECT_EQ(table.oldToCurrent, read);

    QTemporaryDir dir;
    for (const QString example : {"recipe", "editable-title", "title"}) {
        const QString package = dir.filePath(example + ".qpack");
        const auto built = tool({"build", kExamples + example + ".json", "-o", package});
        ASSERT_EQ(built.code, 0) << built.errors.toStdString();
        const QString recipe = dir.filePath(example + "/again.json");
        const auto opened =
            tool({"open", package, "--into", dir.filePath(example + "/files"), "--recipe", recipe});
        ASSERT_EQ(opened.code, 0) << opened.errors.toStdString();

        QStringList written{recipe};
        for (const QString& file : QDir(dir.filePath(example)).entryList({"*.timeline.json"}))
            written << dir.filePath(example + "/" + file);
        EXPECT_GE(written.size(), 2) << "no timeline file beside " << recipe.toStdString();
        for (const QString& file : written) {
            for (const QString& key : keysOf(file)) {
                EXPECT_TRUE(table.names.contains(key))
                    << file.toStdString() << ": '" << key.toStdString() << "' is not in the table";
                // "content" is a text item's text, and was a clip's content kind.
                EXPECT_FALSE(table.oldToCurrent.count(key) && !table.names.contains(key))
                    << file.toStdString() << ": '" << key.toStdString() << "' is an old spelling";
            }
            const QJsonArray clips = QJsonDocument::fromJson(TestSupport::readFile(file))
                                         .object()
                                         .value("clips")
                                         .toArray();
            for (const QJsonValue& clip : clips)
                EXPECT_FALSE(clip.toObject().contains("content")) << file.toStdString();
        }
    }
}

TEST(OldSpellings, OpenShowsAnImportInTheNamesOfItsRecipe) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("recipe.json"),
                           R"({"name": "Import", "components": [{"kind": "import", "path": ")" +
                               kExamples.toUtf8() + R"(media/sunset.jpg", "importType": "image",
                               "title": "Sunset", "description": "Warm light"}]})");
    ASSERT_EQ(tool({"build", dir.filePath("recipe.json")}).code, 0);
    const auto opened =
        tool({"open", dir.filePath("Import.qpack"), "--into", dir.filePath("opened"), "--json"});
    ASSERT_EQ(opened.code, 0) << opened.errors.toStdString();
    const QJsonObject report = QJsonDocument::fromJson(opened.output.toUtf8()).object();
    EXPECT_EQ(report["contentType"].toString(), "import");
    const QJsonObject context = report["buildContext"].toObject();
    EXPECT_EQ(context["kind"].toString(), "import");
    const QJsonObject params = context["params"].toObject();
    EXPECT_EQ(params.keys(), (QStringList{"description", "importType", "path", "title"}));
    EXPECT_EQ(params["title"].toString(), "Sunset");
    EXPECT_TRUE(params["path"].toString().endsWith("/opened/resources/sunset.jpg"))
        << params["path"].toString().toStdString();

    const auto text = tool({"open", dir.filePath("Import.qpack"), "--into", dir.filePath("again")});
    ASSERT_EQ(text.code, 0) << text.errors.toStdString();
    EXPECT_TRUE(text.output.contains("build context (import):\n")) << text.output.toStdString();
    EXPECT_TRUE(text.output.contains("    importType: \"image\"\n")) << text.output.toStdString();
}
