// Reopening packages with the tool (`open --recipe`, then `build` again) and finishing
// intermediate overlays (`finalize`), checked in what the packages hold.

#include <gtest/gtest.h>
#include <zip.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <functional>

#include "package/components/overlays/finalize_overlay.h"
#include "platform/bundle/package_reader.h"
#include "platform/bundle/store_item.h"
#include "platform/bundle/zip.h"
#include "platform/model/import_object.h"
#include "platform/model/overlay_preset.h"
#include "test_support.h"

namespace {

using TestSupport::tool;

const QString kExamples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/");

// A package unpacked for reading, with the stored items of its add-ons.
struct Opened {
    Opened(const QString& package, const QString& folder)
        : object(Bundle::openPackage(package, folder)) {}

    template <class T>
    const T& item(const Package::CollectionAddOn& addOn) {
        records.push_back(std::make_shared<Serialize::ObjectStorage>());
        const auto record = Bundle::loadItem<T>(object.folder + "/" + addOn.path, *records.back());
        return *record.item;
    }

    Package::Object object;
    std::vector<std::shared_ptr<Serialize::ObjectStorage>> records;
};

void build(const QString& recipe, const QString& package) {
    const auto built = tool({"build", recipe, "-o", package, "--strict"});
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();
}

// A copy of a package with one file of it changed, as a damaged or hostile package would be.
void editPackage(const QString& package, const QString& copy, const QString& file,
                 const std::function<QByteArray(QByteArray)>& edit) {
    QTemporaryDir work;
    const QString folder = work.filePath("p");
    Bundle::Zip::extractAll(package, folder);
    const QString path = folder + "/" + file;
    TestSupport::writeFile(path, edit(TestSupport::readFile(path)));
    Bundle::Zip::compressAll(copy, folder);
}

}  // namespace

TEST(OpenTool, ImportsRebuildFromTheirRecipeAsTheSameImport) {
    const QByteArray components[] = {
        R"({"kind": "import", "file": ")" + kExamples.toUtf8() +
            R"(media/sunset.jpg", "importKind": "image", "title": "Sunset",
            "description": "Warm light", "categories": ["sky", "evening"], "collectionId": "media"})",
        R"({"kind": "import", "remoteUrl": "https://cdn.example.com/city.qpack",
            "packageName": "city", "importKind": "video", "title": "City"})"};
    for (const QByteArray& component : components) {
        QTemporaryDir dir;
        TestSupport::writeFile(dir.filePath("recipe.json"),
                               R"({"name": "Imports", "components": [)" + component + "]}");
        build(dir.filePath("recipe.json"), dir.filePath("first.qpack"));
        const auto opened = tool({"open", dir.filePath("first.qpack"), "--into",
                                  dir.filePath("opened"), "--recipe", dir.filePath("again.json")});
        ASSERT_EQ(opened.code, 0) << opened.errors.toStdString();
        EXPECT_TRUE(opened.output.contains("content type: import")) << opened.output.toStdString();
        build(dir.filePath("again.json"), dir.filePath("second.qpack"));

        Opened first(dir.filePath("first.qpack"), dir.filePath("a"));
        Opened second(dir.filePath("second.qpack"), dir.filePath("b"));
        ASSERT_EQ(second.object.importAddOns.size(), 1u);
        const auto fields = [](const Import::Object& i) {
            return std::make_tuple(i.kind(), i.title(), i.description(), i.category(), i.location(),
                                   i.remoteUrl());
        };
        EXPECT_EQ(fields(second.item<Import::Object>(second.object.importAddOns[0])),
                  fields(first.item<Import::Object>(first.object.importAddOns[0])));
        EXPECT_EQ(second.object.importAddOns[0].categories,
                  first.object.importAddOns[0].categories);
    }
}

TEST(OpenTool, AnIntermediateOverlayRebuildsFromItsRecipeAndTimeline) {
    QTemporaryDir dir;
    build(kExamples + "editable-title.json", dir.filePath("first.qpack"));
    const auto opened = tool({"open", dir.filePath("first.qpack"), "--into", dir.filePath("opened"),
                              "--recipe", dir.filePath("again.json"), "--json"});
    ASSERT_EQ(opened.code, 0) << opened.errors.toStdString();
    const QJsonObject report = QJsonDocument::fromJson(opened.output.toUtf8()).object();
    EXPECT_EQ(report["contentType"].toString(), "intermediate-overlay");
    const QJsonObject context = report["buildContext"].toObject();
    EXPECT_EQ(context["index"].toInt(), 3);
    EXPECT_EQ(context["kind"].toString(), "intermediate-overlay");
    EXPECT_EQ(context["introCollectionId"].toString(), "intros");
    const QJsonObject params = context["params"].toObject();
    EXPECT_EQ(params["firstItemSpan"].toInt(), 300);
    EXPECT_EQ(params["videoTiming"].toObject()["frameRate"].toInt(), 25000);
    EXPECT_EQ(params["timeline"].toObject()["clips"].toInt(), 4);
    EXPECT_TRUE(QFileInfo::exists(dir.filePath("again.timeline.json")));

    build(dir.filePath("again.json"), dir.filePath("second.qpack"));
    const auto reopened =
        tool({"open", dir.filePath("second.qpack"), "--into", dir.filePath("reopened"), "--json"});
    ASSERT_EQ(reopened.code, 0) << reopened.errors.toStdString();
    const QJsonObject again = QJsonDocument::fromJson(reopened.output.toUtf8()).object();
    QJsonObject expected = context;
    QJsonObject actual = again["buildContext"].toObject();
    // Only the names differ: each is the folder the package was opened into.
    for (QJsonObject* object : {&expected, &actual}) {
        QJsonObject common = (*object)["context"].toObject();
        common.remove("name");
        common.remove("previewPath");
        (*object)["context"] = common;
    }
    EXPECT_EQ(actual, expected);
}

TEST(FinalizeTool, IntermediateOverlaysAreFiledByTypeWithTheirMedia) {
    const struct {
        const char* type;
        const char* collection;
        qint32 presetKind;
    } cases[] = {{"title", "titles", 1}, {"callout", "callouts", 2}, {"sticker", "stickers", 3}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        QTemporaryDir dir;
        TestSupport::writeFile(
            dir.filePath("recipe.json"),
            R"({"name": "Editable", "components": [{"kind": "intermediate-overlay",
                "timeline": ")" +
                kExamples.toUtf8() + R"(media/title.json", "overlayType": ")" + c.type +
                R"(", "videoTiming": {"start": 0, "length": 2000, "frameRate": 25000},
                "categories": ["summer"]}]})");
        build(dir.filePath("recipe.json"), dir.filePath("editable.qpack"));
        const auto finalized =
            tool({"finalize", dir.filePath("editable.qpack"), "-C", dir.filePath("out")});
        ASSERT_EQ(finalized.code, 0) << finalized.errors.toStdString();
        // Named after the package's own name, not its file's.
        const QString package = dir.filePath("out/Editable.qpack");
        ASSERT_TRUE(QFileInfo(package).isFile()) << finalized.output.toStdString();
        EXPECT_EQ(QDir(dir.filePath("out"))
                      .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden),
                  QStringList{"Editable.qpack"});

        Opened final(package, dir.filePath("final"));
        EXPECT_TRUE(final.object.importAddOns.empty());
        ASSERT_EQ(final.object.presetAddOns.size(), 1u);
        const Package::CollectionAddOn& addOn = final.object.presetAddOns[0];
        EXPECT_TRUE(addOn.path.startsWith(QString(c.collection) + "/")) << addOn.path.toStdString();
        EXPECT_EQ(addOn.categories.at("summer"), c.collection);
        const Overlay::Preset& preset = final.item<Overlay::Preset>(addOn);
        EXPECT_EQ(preset.kind, c.presetKind);
        const QStringList entries = TestSupport::zipEntries(package);
        int videos = 0;
        for (const Overlay::Item& item : preset.items) {
            if (item.kind != Overlay::Item::Video)
                continue;
            ++videos;
            const auto resource = std::find_if(
                addOn.resources.begin(), addOn.resources.end(), [&](const Package::Resource& r) {
                    return Resource::serializeResource(r.key) == item.resource;
                });
            ASSERT_NE(resource, addOn.resources.end()) << item.resource.toStdString();
            EXPECT_TRUE(entries.contains(resource->path)) << resource->path.toStdString();
            EXPECT_EQ(resource->timing, (Resource::Timing{0, 2000, 25000}));
        }
        EXPECT_EQ(videos, 1);
        EXPECT_EQ(TestSupport::zipEntry(package, "resources/beach.mp4"),
                  TestSupport::readFile(kExamples + "media/beach.mp4"));
    }
}

TEST(FinalizeTool, OtherPackagesAreRefusedAndNothingIsBuilt) {
    QTemporaryDir dir;
    build(kExamples + "title.json", dir.filePath("title.qpack"));
    const auto refused = tool({"finalize", dir.filePath("title.qpack"), "-C", dir.filePath("out")});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(
        refused.errors.contains("not an intermediate overlay package (content type: overlay)"))
        << refused.errors.toStdString();
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("out")));

    // The library call itself: an empty result and no target, for a null object too.
    Opened title(dir.filePath("title.qpack"), dir.filePath("unpacked/title"));
    EXPECT_EQ(Package::finalizeOverlay(&title.object, dir.filePath("library")), QString());
    EXPECT_EQ(Package::finalizeOverlay(nullptr, dir.filePath("library")), QString());
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("library")));

    // An existing target is never overwritten.
    build(kExamples + "editable-title.json", dir.filePath("editable.qpack"));
    const QString taken = dir.filePath("taken/Beach Day Title (editable).qpack");
    TestSupport::writeFile(taken, "mine");
    const auto again =
        tool({"finalize", dir.filePath("editable.qpack"), "-C", dir.filePath("taken")});
    EXPECT_EQ(again.code, 1);
    EXPECT_TRUE(again.errors.contains("already exists")) << again.errors.toStdString();
    EXPECT_EQ(TestSupport::readFile(taken), "mine");
}

TEST(OpenTool, PackagesThatNameFilesOutsideThemselvesAreNotRebuilt) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("secret.mp4"), "not for the package");

    // An import whose location climbs out of the package.
    TestSupport::writeFile(
        dir.filePath("recipe.json"), R"({"name": "Imports", "components": [
        {"kind": "import", "file": ")" + kExamples.toUtf8() +
                                         R"(media/sunset.jpg", "importKind": "image"}]})");
    build(dir.filePath("recipe.json"), dir.filePath("import.qpack"));
    Opened import(dir.filePath("import.qpack"), dir.filePath("import"));
    editPackage(dir.filePath("import.qpack"), dir.filePath("hostile-import.qpack"),
                import.object.importAddOns[0].path + "item.xml", [](QByteArray xml) {
                    return xml.replace("resources/sunset.jpg", "../../secret.mp4");
                });
    const auto refused = tool({"open", dir.filePath("hostile-import.qpack"), "--into",
                               dir.filePath("o1/p"), "--recipe", dir.filePath("r1.json")});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(refused.errors.contains("names files outside itself"))
        << refused.errors.toStdString();
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("r1.json")));

    // An intermediate overlay whose project plays a video from elsewhere.
    build(kExamples + "editable-title.json", dir.filePath("editable.qpack"));
    QTemporaryDir bundle;
    TestSupport::writeFile(
        bundle.filePath("intro.bundle"),
        TestSupport::zipEntry(dir.filePath("editable.qpack"), "resources/intro.bundle"));
    Bundle::Zip::extractAll(bundle.filePath("intro.bundle"), bundle.filePath("project"));
    const QByteArray project = TestSupport::readFile(bundle.filePath("project/project.xml"));
    TestSupport::writeFile(
        bundle.filePath("project/project.xml"),
        QByteArray(project).replace("./beach.mp4", dir.filePath("secret.mp4").toUtf8()));
    QFile::remove(bundle.filePath("intro.bundle"));
    Bundle::Zip::compressAll(bundle.filePath("intro.bundle"), bundle.filePath("project"));
    const QByteArray hostileBundle = TestSupport::readFile(bundle.filePath("intro.bundle"));
    editPackage(dir.filePath("editable.qpack"), dir.filePath("hostile.qpack"),
                "resources/intro.bundle", [&](QByteArray) { return hostileBundle; });
    for (const QStringList& command :
         {QStringList{"finalize", dir.filePath("hostile.qpack"), "-C", dir.filePath("out")},
          QStringList{"open", dir.filePath("hostile.qpack"), "--into", dir.filePath("o2/p"),
                      "--recipe", dir.filePath("r2.json")}}) {
        const auto result = tool(command);
        EXPECT_EQ(result.code, 1) << command.join(' ').toStdString();
        EXPECT_TRUE(result.errors.contains(dir.filePath("secret.mp4")))
            << result.errors.toStdString();
    }
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("out")));
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("r2.json")));
}

TEST(OpenTool, AnArchiveWhoseEntryClimbsOutIsRefusedBeforeAnythingIsWritten) {
    QTemporaryDir dir;
    const QString package = dir.filePath("hostile.qpack");
    int code = 0;
    zip_t* archive = zip_open(QFile::encodeName(package).constData(), ZIP_CREATE, &code);
    ASSERT_NE(archive, nullptr);
    for (const char* name : {"package.xml", "../escape.txt"}) {
        zip_source_t* source = zip_source_buffer(archive, "x", 1, 0);
        ASSERT_GE(zip_file_add(archive, name, source, 0), 0) << zip_strerror(archive);
    }
    ASSERT_EQ(zip_close(archive), 0);

    const auto opened = tool({"open", package, "--into", dir.filePath("o/p")});
    EXPECT_EQ(opened.code, 1);
    EXPECT_TRUE(opened.errors.contains("../escape.txt")) << opened.errors.toStdString();
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("o/escape.txt")));
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("o/p")));
}
