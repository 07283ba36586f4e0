// Reopening whole packages into recipes (`open --recipe`) and building them again, checked in what
// the two packages hold.

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <functional>
#include <map>

#include "platform/bundle/package_reader.h"
#include "platform/bundle/zip.h"
#include "test_support.h"

namespace {

using TestSupport::tool;

const QString kExamples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/");

struct Unpacked {
    Unpacked(const QString& package, const QString& folder)
        : object(Bundle::openPackage(package, folder, &manifest)) {}
    Bundle::PackageManifest manifest;
    Package::Object object;
};

// An add-on's stored item, its resources and categories as text, with the ids that every build
// makes afresh replaced by their order of appearance: two builds of one recipe give equal texts.
QString itemText(const QString& root, const Package::CollectionAddOn& addOn) {
    QString text = QString::fromUtf8(TestSupport::readFile(root + "/" + addOn.path + "item.xml"));
    text.replace(QRegularExpression("<uniqueId t=\"str\">[^<]*</uniqueId>"), "<uniqueId/>");
    for (const Package::Resource& resource : addOn.resources)
        text += QStringLiteral("\nresource %1 %2 %3 %4 %5 %6")
                    .arg(resource.path, resource.id())
                    .arg(resource.type())
                    .arg(resource.timing.start)
                    .arg(resource.timing.length)
                    .arg(resource.timing.frameRate);
    for (const auto& [category, collection] : addOn.categories)
        text += QStringLiteral("\ncategory %1=%2").arg(category, collection);
    std::map<QString, int> ids;
    QString numbered;
    int last = 0;
    auto matches = QRegularExpression("\\{[0-9a-f-]{36}\\}").globalMatch(text);
    while (matches.hasNext()) {
        const auto match = matches.next();
        const int number = ids.emplace(match.captured(), int(ids.size())).first->second;
        numbered +=
            text.mid(last, match.capturedStart() - last) + QStringLiteral("{id %1}").arg(number);
        last = match.capturedEnd();
    }
    return numbered + text.mid(last);
}

// The files of a folder, relative to it, sorted.
QStringList filesUnder(const QString& folder) {
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << QDir(folder).relativeFilePath(it.next());
    files.sort();
    return files;
}

// Two packages hold the same: name and uuid, the same add-on lists in the same order with equal
// stored items apart from ids, the same previews and resources byte for byte.
void expectSamePackage(const QString& firstPackage, const QString& secondPackage,
                       const QString& work) {
    const Unpacked first(firstPackage, work + "/first");
    const Unpacked second(secondPackage, work + "/second");
    EXPECT_EQ(second.manifest.name, first.manifest.name);
    EXPECT_EQ(second.manifest.uuid, first.manifest.uuid);
    const std::pair<const char*, std::deque<Package::CollectionAddOn> Package::Object::*> lists[] =
        {{"presets", &Package::Object::presetAddOns},
         {"transitions", &Package::Object::transitionAddOns},
         {"effects", &Package::Object::effectAddOns},
         {"imports", &Package::Object::importAddOns}};
    for (const auto& [name, list] : lists) {
        const auto& a = first.object.*list;
        const auto& b = second.object.*list;
        ASSERT_EQ(b.size(), a.size()) << name;
        for (size_t i = 0; i < a.size(); ++i) {
            SCOPED_TRACE(std::string(name) + "[" + std::to_string(i) + "]");
            EXPECT_EQ(itemText(second.object.folder, b[i]), itemText(first.object.folder, a[i]));
            EXPECT_EQ(TestSupport::readFile(second.object.folder + "/" + b[i].path + "preview.png"),
                      TestSupport::readFile(first.object.folder + "/" + a[i].path + "preview.png"));
        }
    }
    const QString resources = QStringLiteral("/resources");
    const QStringList files = filesUnder(first.object.folder + resources);
    EXPECT_EQ(filesUnder(second.object.folder + resources), files);
    for (const QString& file : files) {
        SCOPED_TRACE(file.toStdString());
        const QString a = first.object.folder + resources + "/" + file;
        const QString b = second.object.folder + resources + "/" + file;
        if (!file.endsWith(".bundle")) {
            EXPECT_EQ(TestSupport::readFile(b), TestSupport::readFile(a));
            continue;
        }
        // A project bundle is an archive that carries the time it was written: its entries count.
        const QStringList entries = TestSupport::zipEntries(a);
        EXPECT_EQ(TestSupport::zipEntries(b), entries);
        for (const QString& entry : entries)
            EXPECT_EQ(TestSupport::zipEntry(b, entry), TestSupport::zipEntry(a, entry));
    }
    EXPECT_EQ(TestSupport::readFile(second.object.folder + "/preview.png"),
              TestSupport::readFile(first.object.folder + "/preview.png"));
}

QByteArray recipeWith(const QByteArray& name, const QByteArray& components) {
    return "{\"name\": \"" + name + "\", \"components\": [" + components + "]}";
}

QByteArray example(const char* file) {
    return kExamples.toUtf8() + file;
}

}  // namespace

// Build, reopen into a recipe, move the recipe with its folder elsewhere, build again: the two
// packages hold the same.
TEST(Reopen, PackagesRebuildFromTheirRecipeAsTheSamePackage) {
    const QByteArray imports = recipeWith(
        "Several Imports", R"({"kind": "import", "file": ")" + example("media/sunset.jpg") +
                               R"(", "importKind": "image", "title": "Sunset", "description": "Sky",
                "categories": ["sky", "evening"], "collectionId": "media",
                "preview": ")" +
                               example("preview.png") + R"("},
            {"kind": "import", "remoteUrl": "https://cdn.example.com/c.qpack", "packageName": "city",
             "title": "City"},
            {"kind": "import", "file": ")" +
                               example("media/beach.mp4") + R"(", "importKind": "video"},
            {"kind": "import", "file": ")" +
                               example("effects/grain.png") + R"(", "importKind": "other",
             "title": "Grain"},
            {"kind": "lut-effect", "lut": ")" +
                               example("effects/warm-afternoon.cube") + R"(",
             "title": "Warm", "preview": ")" +
                               example("preview.png") + R"("})");
    const struct {
        const char* what;
        QString example;    // a bundled example, or
        QByteArray recipe;  // a recipe of its own
        int components;
    } cases[] = {{"the bundled example", "recipe.json", {}, 8},
                 {"an intermediate overlay", "editable-title.json", {}, 1},
                 {"several imports", {}, imports, 5}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        QTemporaryDir dir;
        QString recipe = kExamples + c.example;
        if (c.example.isEmpty()) {
            recipe = dir.filePath("recipe.json");
            TestSupport::writeFile(recipe, c.recipe);
        }
        const auto built = tool({"build", recipe, "-o", dir.filePath("first.qpack"), "--strict"});
        ASSERT_EQ(built.code, 0) << built.errors.toStdString();

        const auto opened =
            tool({"open", dir.filePath("first.qpack"), "--into", dir.filePath("edit/unpacked"),
                  "--recipe", dir.filePath("edit/again.json")});
        ASSERT_EQ(opened.code, 0) << opened.errors.toStdString();
        EXPECT_EQ(opened.errors, QString());
        const QJsonObject written =
            QJsonDocument::fromJson(TestSupport::readFile(dir.filePath("edit/again.json")))
                .object();
        EXPECT_EQ(written["components"].toArray().size(), c.components);

        ASSERT_TRUE(QDir().rename(dir.filePath("edit"), dir.filePath("moved")));
        const auto rebuilt = tool({"build", dir.filePath("moved/again.json"), "-o",
                                   dir.filePath("second.qpack"), "--strict"});
        ASSERT_EQ(rebuilt.code, 0) << rebuilt.errors.toStdString();
        expectSamePackage(dir.filePath("first.qpack"), dir.filePath("second.qpack"),
                          dir.filePath("check"));
        const auto diffed =
            tool({"diff", dir.filePath("first.qpack"), dir.filePath("second.qpack")});
        EXPECT_EQ(diffed.code, 0) << diffed.output.toStdString();
    }
}

// What a recipe cannot carry is a warning that names it; a package of which nothing can be
// carried is an error, and nothing is written.
TEST(Reopen, WhatCannotBeCarriedIsNamed) {
    const QByteArray lutAndImport = recipeWith("Mixed", R"({"kind": "lut-effect", "lut": ")" +
                                                            example("effects/warm-afternoon.cube") +
                                                            R"(", "title": "Warm"},
                    {"kind": "import", "file": ")" + example("media/sunset.jpg") +
                                                            R"(", "title": "Sunset",
                     "importKind": "image"})");
    const struct {
        const char* what;
        QByteArray recipe;  // empty: examples/title.json
        std::function<void(const QString& folder, const Package::Object&)> damage;
        const char* warning;
        QStringList kinds;  // the components written; empty: none, an error
    } cases[] = {
        {"nothing but a LUT without its file",
         recipeWith("Lut", R"({"kind": "lut-effect", "lut": ")" +
                               example("effects/warm-afternoon.cube") + R"(", "title": "Warm"})"),
         [](const QString& folder, const Package::Object&) {
             QFile::remove(folder + "/resources/warm-afternoon.cube");
         },
         "its LUT file resources/warm-afternoon.cube is not in the package",
         {}},
        {"a finished overlay without its video",
         {},
         [](const QString& folder, const Package::Object&) {
             QFile::remove(folder + "/resources/beach.mp4");
         },
         "items[0]: its video resources/beach.mp4 is not in the package; the item is left out",
         {"overlay"}},
        {"a finished overlay item of an unknown kind",
         {},
         [](const QString& folder, const Package::Object& object) {
             const QString item = folder + "/" + object.presetAddOns[0].path + "item.xml";
             TestSupport::writeFile(
                 item, TestSupport::readFile(item).replace("<kind t=\"i32\">2</kind>",
                                                           "<kind t=\"i32\">5</kind>"));
         },
         "items[3]: an item of kind 5 cannot be carried; the item is left out",
         {"overlay"}},
        {"a finished overlay whose video is skewed",
         {},
         [](const QString& folder, const Package::Object& object) {
             const QString item = folder + "/" + object.presetAddOns[0].path + "item.xml";
             QByteArray xml = TestSupport::readFile(item);
             xml.replace(xml.indexOf("<m12 t=\"f64\">0</m12>"), 20, "<m12 t=\"f64\">0.5</m12>");
             TestSupport::writeFile(item, xml);
         },
         "the overlay is rebuilt approximately: items[0]: its transform skews, mirrors or projects",
         {"overlay"}},
        {"a finished overlay item between two milliseconds",
         {},
         [](const QString& folder, const Package::Object& object) {
             const QString item = folder + "/" + object.presetAddOns[0].path + "item.xml";
             TestSupport::writeFile(item, TestSupport::readFile(item).replace(
                                              "<begin t=\"f64\">0.16666666666666666</begin>",
                                              "<begin t=\"f64\">0.1667</begin>"));
         },
         "the overlay is rebuilt approximately: items[0]: its begin and end are not whole "
         "milliseconds",
         {"overlay"}},
        {"a finished overlay whose keyframes are out of order",
         {},
         [](const QString& folder, const Package::Object& object) {
             const QString item = folder + "/" + object.presetAddOns[0].path + "item.xml";
             QByteArray xml = TestSupport::readFile(item);
             xml.replace(xml.indexOf("<step t=\"f64\">0.78</step>"), 25,
                         "<step t=\"f64\">0.10</step>");
             TestSupport::writeFile(item, xml);
         },
         "items[1]: its keyframes are not in order of step; they are sorted in the rebuild",
         {"overlay"}},
        {"a missing LUT file",
         lutAndImport,
         [](const QString& folder, const Package::Object&) {
             QFile::remove(folder + "/resources/warm-afternoon.cube");
         },
         "its LUT file resources/warm-afternoon.cube is not in the package",
         {"import"}},
        {"an unknown item type",
         lutAndImport,
         [](const QString& folder, const Package::Object& object) {
             const QString item = folder + "/" + object.effectAddOns[0].path + "item.xml";
             TestSupport::writeFile(
                 item, TestSupport::readFile(item).replace("\"Effect::Lut\"", "\"Effect::Glow\""));
         },
         "unknown type 'Effect::Glow'",
         {"import"}},
        {"a missing import file",
         lutAndImport,
         [](const QString& folder, const Package::Object&) {
             QFile::remove(folder + "/resources/sunset.jpg");
         },
         "its media file resources/sunset.jpg is not in the package",
         {"lut-effect"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        QTemporaryDir dir;
        QString recipe = kExamples + "title.json";  // a finished overlay
        if (!c.recipe.isEmpty()) {
            recipe = dir.filePath("recipe.json");
            TestSupport::writeFile(recipe, c.recipe);
        }
        const QString package = dir.filePath("p.qpack");
        const auto built = tool({"build", recipe, "-o", package});
        ASSERT_EQ(built.code, 0) << built.errors.toStdString();
        if (c.damage) {
            const Unpacked unpacked(package, dir.filePath("damage"));
            c.damage(unpacked.object.folder, unpacked.object);
            QFile::remove(package);
            Bundle::Zip::compressAll(package, unpacked.object.folder);
        }

        const auto opened = tool({"open", package, "--into", dir.filePath("opened"), "--recipe",
                                  dir.filePath("again.json")});
        EXPECT_TRUE(opened.errors.contains("packwright: warning: ") &&
                    opened.errors.contains(c.warning))
            << opened.errors.toStdString();
        if (c.kinds.isEmpty()) {
            EXPECT_EQ(opened.code, 1);
            EXPECT_TRUE(opened.errors.contains("nothing in the package can be carried"))
                << opened.errors.toStdString();
            EXPECT_FALSE(QFileInfo::exists(dir.filePath("opened")));
            EXPECT_FALSE(QFileInfo::exists(dir.filePath("again.json")));
            continue;
        }
        ASSERT_EQ(opened.code, 0) << opened.errors.toStdString();
        QStringList kinds;
        const QJsonObject written =
            QJsonDocument::fromJson(TestSupport::readFile(dir.filePath("again.json"))).object();
        for (const QJsonValue& component : written["components"].toArray())
            kinds << component.toObject()["kind"].toString();
        EXPECT_EQ(kinds, c.kinds);
        const auto rebuilt = tool({"build", dir.filePath("again.json"), "--strict"});
        EXPECT_EQ(rebuilt.code, 0) << rebuilt.errors.toStdString();
    }
}

// Any add-on, not only the first one, that names a file outside the package stops the recipe: a
// rebuild would carry that file into the new package.
TEST(Reopen, AnImportBeyondTheFirstThatClimbsOutIsRefused) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("secret.txt"), "not for the package");
    TestSupport::writeFile(
        dir.filePath("recipe.json"),
        recipeWith("Two", R"({"kind": "import", "file": ")" + example("media/sunset.jpg") +
                              R"(", "importKind": "image"},
                                             {"kind": "import", "file": ")" +
                              example("effects/grain.png") + R"(", "importKind": "image"})"));
    const QString package = dir.filePath("p.qpack");
    ASSERT_EQ(tool({"build", dir.filePath("recipe.json"), "-o", package}).code, 0);
    {
        const Unpacked unpacked(package, dir.filePath("damage"));
        const QString item =
            unpacked.object.folder + "/" + unpacked.object.importAddOns[1].path + "item.xml";
        TestSupport::writeFile(
            item, TestSupport::readFile(item).replace("resources/grain.png", "../../secret.txt"));
        QFile::remove(package);
        Bundle::Zip::compressAll(package, unpacked.object.folder);
    }
    const auto opened = tool({"open", package, "--into", dir.filePath("opened"), "--recipe",
                              dir.filePath("again.json")});
    EXPECT_EQ(opened.code, 1);
    EXPECT_TRUE(opened.errors.contains("names files outside itself (../../secret.txt)"))
        << opened.errors.toStdString();
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("again.json")));
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("opened")));
}
