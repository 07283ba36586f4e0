#include <gtest/gtest.h>

#include <QFileInfo>

#include "effect_fixture.h"
#include "package/components/imports/import_build_component.h"
#include "package/components/imports/intro_build_component.h"
#include "platform/fs/fs.h"
#include "platform/model/import_object.h"
#include "platform/model/timeline_object.h"
#include "platform/model/video_effect.h"
#include "platform/project/project_reader.h"
#include "platform/project/project_writer.h"
#include "platform/serialize/archive.h"

using namespace EffectFixture;

namespace {

using Record = EditorCollection::PersistentItem<Import::Object>;

// What an import item holds.
auto fields(const Import::Object& item) {
    return std::make_tuple(item.category(), item.title(), item.description(), item.kind(),
                           item.location(), item.remoteUrl());
}

Package::ImportParams importParams(std::variant<QString, Package::RemoteSource> source,
                                   qint32 type = Package::VideoImport) {
    Package::ImportParams params;
    params.source = std::move(source);
    params.importType = Package::ImportType(type);
    params.primaryText = "Beach";
    params.secondaryText = "Waves at dusk";
    return params;
}

// The whole content of a timeline, to compare two of them.
QByteArray xmlOf(const Timeline::Object& timeline) {
    Serialize::MemoryContent content;
    return Serialize::writeArchive(timeline, content);
}

// A timeline with one video clip per media file and a title clip without media, so that a round
// trip has effects, presets and envelopes to lose.
Timeline::Object introTimeline(const QStringList& media) {
    Timeline::Object timeline;
    timeline.addTrack("Main");
    timeline.addTrack("Titles");
    timeline.setPrimaryTrack(0);
    timeline.setSceneSize(QSizeF(1280, 720));
    qint64 at = 0;
    for (const QString& path : media) {
        Timeline::Clip clip;
        clip.timing = {at, 5000, 1000, 3000, Timeline::VideoContent};
        clip.media.sourcePath = path;
        clip.media.streams = {{Timeline::StreamDescription::Video, 1280, 720}};
        auto pip = std::make_unique<Effect::PictureInPicture>();
        pip->transform = Types::Transform(0.5, 0, 0, 0, 0.5, 0, 0.25, 0.25, 1);
        clip.addEffect(std::move(pip));
        timeline.addClip(clip);
        at += 3000;
    }
    Timeline::Clip title;
    title.track = 1;
    title.timing.length = 2000;
    title.timing.contentKind = Timeline::OverlayContent;
    Overlay::Preset preset;
    preset.kind = Overlay::Preset::Title;
    preset.name = "Hello";
    Overlay::Item item;
    item.content = "Hello";
    preset.appendItem(item);
    title.setOverlayPreset(preset);
    Transformation::Envelope envelope;
    Transformation::Object faded;
    faded.opacity = 0.0;
    envelope.keys.emplace_back(1.0, faded);
    title.setEnvelope(envelope);
    timeline.addClip(title);
    return timeline;
}

Package::IntroParams introParams(const Timeline::Object& timeline) {
    Package::IntroParams params;
    params.timeline = params.timelineStorage.adopt(std::make_unique<Timeline::Object>(timeline));
    params.primaryText = "Opening";
    params.secondaryText = "Our intro";
    return params;
}

}  // namespace

TEST(ImportComponent, LocalFileIsStoredUnderAFreshIdAndCopiedByItsFixup) {
    Workspace ws;
    const QString media = ws.input("dir/clip one.mp4", "frames");
    Package::ImportBuildComponent component(importParams(media));
    component.setCategories({"b", "a"});
    component.setCollectionId("mine");
    const Package::ResourceFixupQueue fixups = component.build(&ws.package);
    component.build(&ws.package);  // a second build gets its own id

    ASSERT_EQ(ws.package.importAddOns.size(), 2u);
    EXPECT_TRUE(ws.package.effectAddOns.empty() && ws.package.presetAddOns.empty());
    const Package::CollectionAddOn& addOn = ws.package.importAddOns[0];
    const QString uuid = addOnUuid(addOn.path, "imports");
    ASSERT_FALSE(uuid.isEmpty()) << addOn.path.toStdString();
    EXPECT_NE(addOnUuid(ws.package.importAddOns[1].path, "imports"), uuid);
    EXPECT_EQ(addOn.categories, (TextMap{{"a", "mine"}, {"b", "mine"}}));
    EXPECT_TRUE(addOn.resources.empty());

    const Record record = ws.load<Import::Object>(addOn);
    ASSERT_NE(record.item, nullptr);
    // The category is the smallest of the set.
    EXPECT_EQ(fields(*record.item),
              std::make_tuple("a", "Beach", "Waves at dusk", Import::Object::Video,
                              "resources/clip one.mp4", ""));
    EXPECT_EQ(record.categories, (std::set<QString>{"a", "b"}));
    EXPECT_EQ(record.collectionId, "mine");

    ASSERT_EQ(fixups.size(), 1u);
    EXPECT_TRUE(ws.resourceFiles().isEmpty());
    ws.runFixups(fixups);
    EXPECT_EQ(ws.resourceFiles(), QStringList{"clip one.mp4"});
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "clip one.mp4"), "frames");
}

TEST(ImportComponent, KindTableMapsEveryParamsKindAndNeverGivesTheIntroKind) {
    const std::pair<qint32, qint32> table[] = {{0, 3}, {1, 2}, {2, 1}, {3, 0}, {7, 0}, {-1, 0}};
    Workspace ws;
    for (const auto& [given, stored] : table) {
        EXPECT_EQ(Package::ImportBuildComponent::storedKind(given), stored) << given;
        Package::ImportBuildComponent(importParams("/x/a.png", given)).build(&ws.package);
        EXPECT_EQ(ws.item<Import::Object>(ws.package.importAddOns.back())->kind(), stored) << given;
    }
}

TEST(ImportComponent, RemoteAndValuelessSourcesNeedNoFixup) {
    Workspace ws;
    const Package::RemoteSource remote{"https://example.org/city.qpack", "city"};
    EXPECT_TRUE(Package::ImportBuildComponent(importParams(remote)).build(&ws.package).empty());

    // A source whose assignment failed half-way has no value: the item has no location.
    struct Boom {
        operator QString() const { throw 1; }
    };
    Package::ImportParams valueless = importParams("/x/a.mp4");
    try {
        valueless.source.emplace<0>(Boom{});
    } catch (int) {
    }
    ASSERT_TRUE(valueless.source.valueless_by_exception());
    EXPECT_TRUE(Package::ImportBuildComponent(valueless).build(&ws.package).empty());

    ASSERT_EQ(ws.package.importAddOns.size(), 2u);
    EXPECT_TRUE(ws.package.importAddOns[0].categories.empty());
    EXPECT_EQ(fields(*ws.item<Import::Object>(ws.package.importAddOns[0])),
              std::make_tuple("", "Beach", "Waves at dusk", Import::Object::Video,
                              "#DOWNLOADABLE_PATH#/Packages/city.qpack", remote.remoteUrl));
    EXPECT_EQ(fields(*ws.item<Import::Object>(ws.package.importAddOns[1])),
              std::make_tuple("", "Beach", "Waves at dusk", Import::Object::Video, "", ""));
}

TEST(IntroComponent, StoresAnIntroItemAndItsFixupCopiesMediaAndABundleThatReadsBack) {
    EXPECT_EQ(Package::IntroBuildComponent::bundlePath("/work/pkg/"), "/work/build/intro.bundle");
    Workspace ws;
    const QString clip = ws.input("a/clip one.mp4", "video");
    const QString still = ws.input("b/still.png", "image");
    const Timeline::Object original = introTimeline({clip, still});
    const Package::IntroParams params = introParams(original);
    Package::IntroBuildComponent component(params);
    component.setCategories({"z", "m"});
    component.setCollectionId("intros");
    const Package::ResourceFixupQueue fixups = component.build(&ws.package);
    EXPECT_EQ(xmlOf(*params.timeline), xmlOf(original));  // the caller's timeline is untouched

    // The bundle is written by the build itself, beside the working folder, before any fixup.
    const QString bundle = Package::IntroBuildComponent::bundlePath(ws.package.folder);
    EXPECT_EQ(bundle, ws.dir.filePath("build/intro.bundle"));
    EXPECT_TRUE(QFileInfo(bundle).isFile());

    ASSERT_EQ(ws.package.importAddOns.size(), 1u);
    const Package::CollectionAddOn& addOn = ws.package.importAddOns[0];
    EXPECT_FALSE(addOnUuid(addOn.path, "imports").isEmpty());
    EXPECT_EQ(addOn.categories, (TextMap{{"m", "intros"}, {"z", "intros"}}));
    EXPECT_EQ(fields(*ws.item<Import::Object>(addOn)),
              std::make_tuple("m", "Opening", "Our intro", Import::Object::Intro,
                              "resources/intro.bundle", ""));

    ASSERT_EQ(fixups.size(), 1u);
    ws.runFixups(fixups);
    EXPECT_EQ(ws.resourceFiles(), (QStringList{"clip one.mp4", "intro.bundle", "still.png"}));
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "still.png"), "image");
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "intro.bundle"),
              TestSupport::readFile(bundle));
    EXPECT_TRUE(QFileInfo(bundle).isFile());  // it stays in the build folder

    // The copied bundle reads back with its media beside it.
    Project::Reader reader(ws.resources() + "intro.bundle", Project::ZipBundle);
    const Project::Content content = reader.read();
    const auto* read = dynamic_cast<const Timeline::Object*>(content.projectObject);
    ASSERT_NE(read, nullptr);
    Timeline::Object expected = original;
    expected.mapMediaPaths([&ws](const QString& path) {
        return ws.package.folder + "/resources/" + FS::fileName(path);
    });
    EXPECT_EQ(xmlOf(*read), xmlOf(expected));
    EXPECT_EQ(read->clips().at(0)->media.sourcePath, ws.package.folder + "/resources/clip one.mp4");
}

TEST(IntroComponent, WithoutMediaOrWithTwoOfOneNameTheFirstCopyWins) {
    Workspace ws;
    auto copied = [&ws](const QStringList& media) {
        QDir(ws.resources()).removeRecursively();
        ws.runFixups(
            Package::IntroBuildComponent(introParams(introTimeline(media))).build(&ws.package));
        return ws.resourceFiles();
    };
    EXPECT_EQ(copied({}), QStringList{"intro.bundle"});
    EXPECT_TRUE(ws.package.importAddOns.at(0).categories.empty());
    EXPECT_EQ(copied({ws.input("x/clip.mp4", "first"), ws.input("y/clip.mp4", "second")}),
              (QStringList{"clip.mp4", "intro.bundle"}));
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "clip.mp4"), "first");
}

TEST(PortableWriter, MapsEveryMediaPathToItsFileNameInTheBundleOnly) {
    QTemporaryDir dir;
    const Timeline::Object original = introTimeline({"/m/a/clip.mp4", "/m/b/still.png"});
    Timeline::Object timeline = original;
    Project::Content content;
    content.projectObject = &timeline;
    const QString bundle = dir.filePath("new/folder/p.bundle");
    Project::PortableWriter writer(bundle, "./", Project::ZipBundle);
    ASSERT_TRUE(writer.write(&content)) << writer.errorString().toStdString();

    EXPECT_EQ(writer.pathMapping(),
              (TextMap{{"/m/a/clip.mp4", "./clip.mp4"}, {"/m/b/still.png", "./still.png"}}));
    EXPECT_EQ(xmlOf(timeline), xmlOf(original));
    EXPECT_TRUE(TestSupport::zipEntries(bundle).contains(Project::bundleContentName));

    // A bundle that cannot be written is reported and leaves nothing behind.
    TestSupport::writeFile(dir.filePath("file"), "x");
    const QString blocked = dir.filePath("file/p.bundle");
    Project::PortableWriter failing(blocked, "./", Project::ZipBundle);
    EXPECT_FALSE(failing.write(&content));
    EXPECT_FALSE(failing.errorString().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(blocked));
}
