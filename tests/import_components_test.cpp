#include <gtest/gtest.h>

#include <QFileInfo>

#include "effect_fixture.h"
#include "package/builder.h"
#include "package/components/imports/import_build_component.h"
#include "package/components/imports/intro_build_component.h"
#include "platform/fs/fs.h"
#include "platform/model/import_object.h"
#include "platform/model/timeline_object.h"
#include "platform/model/video_effect.h"
#include "platform/project/project_reader.h"
#include "platform/project/project_writer.h"
#include "platform/serialize/archive.h"

using EffectFixture::addOnUuid;
using EffectFixture::Workspace;

namespace {

using Record = EditorCollection::PersistentItem<Import::Object>;
using TextMap = std::map<QString, QString>;

Package::ImportParams importParams(std::variant<QString, Package::RemoteSource> source,
                                   qint32 type = Package::VideoImport) {
    Package::ImportParams params;
    params.source = std::move(source);
    params.importType = Package::ImportType(type);
    params.primaryText = QStringLiteral("Beach");
    params.secondaryText = QStringLiteral("Waves at dusk");
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
    timeline.addTrack(QStringLiteral("Main"));
    timeline.addTrack(QStringLiteral("Titles"));
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
    preset.name = QStringLiteral("Hello");
    Overlay::Item item;
    item.content = QStringLiteral("Hello");
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
    params.primaryText = QStringLiteral("Opening");
    params.secondaryText = QStringLiteral("Our intro");
    return params;
}

QStringList filesIn(const QString& folder) {
    return QDir(folder).entryList(QDir::Files, QDir::Name);
}

}  // namespace

TEST(ImportComponent, LocalFileIsStoredUnderAFreshIdAndCopiedByItsFixup) {
    Workspace ws;
    const QString media = ws.input(QStringLiteral("dir/clip one.mp4"), "frames");
    Package::ImportBuildComponent component(importParams(media));
    component.setCategories({QStringLiteral("b"), QStringLiteral("a")});
    component.setCollectionId(QStringLiteral("mine"));
    const Package::ResourceFixupQueue fixups = component.build(&ws.package);
    component.build(&ws.package);  // a second build gets its own id

    ASSERT_EQ(ws.package.importAddOns.size(), 2u);
    EXPECT_TRUE(ws.package.effectAddOns.empty() && ws.package.presetAddOns.empty());
    const Package::CollectionAddOn& addOn = ws.package.importAddOns[0];
    const QString uuid = addOnUuid(addOn.path, QStringLiteral("imports"));
    ASSERT_FALSE(uuid.isEmpty()) << addOn.path.toStdString();
    EXPECT_NE(addOnUuid(ws.package.importAddOns[1].path, QStringLiteral("imports")), uuid);
    EXPECT_TRUE(QFileInfo(ws.package.folder + "/imports/" + uuid + "/item.xml").isFile());
    EXPECT_EQ(addOn.categories, (TextMap{{"a", "mine"}, {"b", "mine"}}));
    EXPECT_TRUE(addOn.resources.empty());

    Serialize::ObjectStorage storage;
    const Record record = ws.load<Import::Object>(addOn, storage);
    ASSERT_NE(record.item, nullptr);
    EXPECT_EQ(record.item->category(), QStringLiteral("a"));  // the smallest of the set
    EXPECT_EQ(record.item->title(), QStringLiteral("Beach"));
    EXPECT_EQ(record.item->description(), QStringLiteral("Waves at dusk"));
    EXPECT_EQ(record.item->kind(), Import::Object::Video);
    EXPECT_EQ(record.item->location(), QStringLiteral("resources/clip one.mp4"));
    EXPECT_TRUE(record.item->remoteUrl().isEmpty());
    EXPECT_EQ(record.categories, (std::set<QString>{"a", "b"}));
    EXPECT_EQ(record.collectionId, QStringLiteral("mine"));

    ASSERT_EQ(fixups.size(), 1u);
    EXPECT_FALSE(QFileInfo::exists(ws.resources() + "clip one.mp4"));
    ws.runFixups(fixups);
    EXPECT_EQ(filesIn(ws.resources()), QStringList{"clip one.mp4"});
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "clip one.mp4"), "frames");
}

TEST(ImportComponent, KindTableMapsEveryParamsKindAndNeverGivesTheIntroKind) {
    const std::pair<qint32, qint32> table[] = {{0, 3}, {1, 2}, {2, 1}, {3, 0}, {7, 0}, {-1, 0}};
    Workspace ws;
    for (const auto& [given, stored] : table) {
        EXPECT_EQ(Package::ImportBuildComponent::storedKind(given), stored) << given;
        Package::ImportBuildComponent(importParams(QStringLiteral("/x/a.png"), given))
            .build(&ws.package);
        Serialize::ObjectStorage storage;
        EXPECT_EQ(ws.load<Import::Object>(ws.package.importAddOns.back(), storage).item->kind(),
                  stored)
            << given;
    }
}

TEST(ImportComponent, RemoteSourceKeepsTheDownloadMarkerAndNeedsNoFixup) {
    Workspace ws;
    const Package::RemoteSource remote{QStringLiteral("https://example.org/city.qpack"),
                                       QStringLiteral("city")};
    const auto fixups = Package::ImportBuildComponent(importParams(remote)).build(&ws.package);

    EXPECT_TRUE(fixups.empty());
    ASSERT_EQ(ws.package.importAddOns.size(), 1u);
    EXPECT_TRUE(ws.package.importAddOns[0].categories.empty());
    Serialize::ObjectStorage storage;
    const Import::Object* item = ws.load<Import::Object>(ws.package.importAddOns[0], storage).item;
    EXPECT_EQ(item->location(), QStringLiteral("#DOWNLOADABLE_PATH#/Packages/city.qpack"));
    EXPECT_EQ(item->remoteUrl(), remote.remoteUrl);
    EXPECT_TRUE(item->category().isEmpty());
}

TEST(ImportComponent, ValuelessSourceStillStoresAnItemWithoutLocation) {
    struct Boom {
        operator QString() const { throw 1; }
    };
    Package::ImportParams params = importParams(QStringLiteral("/x/a.mp4"));
    try {
        params.source.emplace<0>(Boom{});
    } catch (int) {
    }
    ASSERT_TRUE(params.source.valueless_by_exception());
    Workspace ws;
    EXPECT_TRUE(Package::ImportBuildComponent(params).build(&ws.package).empty());

    ASSERT_EQ(ws.package.importAddOns.size(), 1u);
    Serialize::ObjectStorage storage;
    const Import::Object* item = ws.load<Import::Object>(ws.package.importAddOns[0], storage).item;
    EXPECT_TRUE(item->location().isEmpty());
    EXPECT_TRUE(item->remoteUrl().isEmpty());
    EXPECT_EQ(item->title(), QStringLiteral("Beach"));
}

TEST(IntroComponent, BundleSitsInABuildFolderBesideTheWorkingFolder) {
    using Package::IntroBuildComponent;
    EXPECT_EQ(IntroBuildComponent::bundlePath("/work/pkg"),
              QStringLiteral("/work/build/intro.bundle"));
    EXPECT_EQ(IntroBuildComponent::bundlePath("/work/pkg/"),
              QStringLiteral("/work/build/intro.bundle"));
}

TEST(IntroComponent, StoresAnIntroItemAndItsFixupCopiesMediaAndBundle) {
    Workspace ws;
    const QString clip = ws.input(QStringLiteral("a/clip.mp4"), "video");
    const QString still = ws.input(QStringLiteral("b/still.png"), "image");
    Package::IntroBuildComponent component(introParams(introTimeline({clip, still})));
    component.setCategories({QStringLiteral("z"), QStringLiteral("m")});
    component.setCollectionId(QStringLiteral("intros"));
    const Package::ResourceFixupQueue fixups = component.build(&ws.package);

    // The bundle is written by the build itself, before any fixup runs.
    const QString bundle = Package::IntroBuildComponent::bundlePath(ws.package.folder);
    EXPECT_EQ(bundle, ws.dir.filePath(QStringLiteral("build/intro.bundle")));
    EXPECT_TRUE(QFileInfo(bundle).isFile());

    ASSERT_EQ(ws.package.importAddOns.size(), 1u);
    const Package::CollectionAddOn& addOn = ws.package.importAddOns[0];
    EXPECT_FALSE(addOnUuid(addOn.path, QStringLiteral("imports")).isEmpty());
    EXPECT_EQ(addOn.categories, (TextMap{{"m", "intros"}, {"z", "intros"}}));
    Serialize::ObjectStorage storage;
    const Record record = ws.load<Import::Object>(addOn, storage);
    EXPECT_EQ(record.item->kind(), Import::Object::Intro);
    EXPECT_EQ(record.item->location(), QStringLiteral("resources/intro.bundle"));
    EXPECT_EQ(record.item->category(), QStringLiteral("m"));
    EXPECT_EQ(record.item->title(), QStringLiteral("Opening"));
    EXPECT_EQ(record.item->description(), QStringLiteral("Our intro"));
    EXPECT_TRUE(record.item->remoteUrl().isEmpty());

    ASSERT_EQ(fixups.size(), 1u);
    ws.runFixups(fixups);
    EXPECT_EQ(filesIn(ws.resources()), (QStringList{"clip.mp4", "intro.bundle", "still.png"}));
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "still.png"), "image");
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "intro.bundle"),
              TestSupport::readFile(bundle));
    EXPECT_TRUE(QFileInfo(bundle).isFile());  // it stays in the build folder
}

TEST(IntroComponent, WithoutMediaOnlyTheBundleIsCopied) {
    Workspace ws;
    const auto fixups =
        Package::IntroBuildComponent(introParams(introTimeline({}))).build(&ws.package);
    ASSERT_EQ(fixups.size(), 1u);
    ws.runFixups(fixups);
    EXPECT_EQ(filesIn(ws.resources()), QStringList{"intro.bundle"});
    EXPECT_TRUE(ws.package.importAddOns.at(0).categories.empty());
}

TEST(IntroComponent, MediaOfTheSameNameShareOneResourceAndTheFirstCopyWins) {
    Workspace ws;
    const QString first = ws.input(QStringLiteral("x/clip.mp4"), "first");
    const QString second = ws.input(QStringLiteral("y/clip.mp4"), "second");
    const auto fixups = Package::IntroBuildComponent(introParams(introTimeline({first, second})))
                            .build(&ws.package);
    EXPECT_NO_THROW(ws.runFixups(fixups));
    EXPECT_EQ(filesIn(ws.resources()), (QStringList{"clip.mp4", "intro.bundle"}));
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "clip.mp4"), "first");
}

TEST(IntroComponent, CopiedBundleReadsBackWithItsMediaBesideIt) {
    Workspace ws;
    const QString clip = ws.input(QStringLiteral("a/clip one.mp4"), "video");
    const QString still = ws.input(QStringLiteral("b/still.png"), "image");
    const Timeline::Object original = introTimeline({clip, still});
    const Package::IntroParams params = introParams(original);
    Package::IntroBuildComponent component(params);
    ws.runFixups(component.build(&ws.package));
    EXPECT_EQ(xmlOf(*params.timeline), xmlOf(original));  // the caller's timeline is untouched

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

TEST(PortableWriter, MapsEveryMediaPathToItsFileNameInTheBundleOnly) {
    QTemporaryDir dir;
    const Timeline::Object original = introTimeline({"/m/a/clip.mp4", "/m/b/still.png"});
    Timeline::Object timeline = original;
    Project::Content content;
    content.projectObject = &timeline;
    const QString bundle = dir.filePath(QStringLiteral("new/folder/p.bundle"));
    Project::PortableWriter writer(bundle, QStringLiteral("./"), Project::ZipBundle);
    ASSERT_TRUE(writer.write(&content)) << writer.errorString().toStdString();

    EXPECT_EQ(writer.pathMapping(),
              (TextMap{{"/m/a/clip.mp4", "./clip.mp4"}, {"/m/b/still.png", "./still.png"}}));
    EXPECT_EQ(xmlOf(timeline), xmlOf(original));
    EXPECT_TRUE(TestSupport::zipEntries(bundle).contains(Project::bundleContentName));

    // A bundle that cannot be written is reported and leaves nothing behind.
    TestSupport::writeFile(dir.filePath(QStringLiteral("file")), "x");
    const QString blocked = dir.filePath(QStringLiteral("file/p.bundle"));
    Project::PortableWriter failing(blocked, QStringLiteral("./"), Project::ZipBundle);
    EXPECT_FALSE(failing.write(&content));
    EXPECT_FALSE(failing.errorString().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(blocked));
}

TEST(ImportBuild, PackageHoldsLocalAndIntroMediaButNotRemoteMedia) {
    QTemporaryDir dir;
    const QString folder = dir.filePath(QStringLiteral("work/Pack"));
    const QString package = dir.filePath(QStringLiteral("out/pack.qpack"));
    QDir().mkpath(folder);
    QDir().mkpath(QFileInfo(package).absolutePath());
    const QString local = dir.filePath(QStringLiteral("in/local.mp4"));
    const QString scene = dir.filePath(QStringLiteral("in/intro/scene.mp4"));
    TestSupport::writeFile(local, "local");
    TestSupport::writeFile(scene, "scene");

    Package::Builder builder(folder, package, QStringLiteral("Pack"), QStringLiteral("Pack"),
                             EffectFixture::redImage());
    builder
        .setupBuildComponent(std::make_shared<Package::ImportBuildComponent>(importParams(local)))
        .setupBuildComponent(std::make_shared<Package::ImportBuildComponent>(importParams(
            Package::RemoteSource{QStringLiteral("https://example.org/city.qpack"), "city"})))
        .setupBuildComponent(
            std::make_shared<Package::IntroBuildComponent>(introParams(introTimeline({scene}))));
    builder.build(QString());

    const QStringList entries = TestSupport::zipEntries(package);
    QStringList resources = entries.filter(QRegularExpression("^resources/.+[^/]$"));
    resources.sort();
    EXPECT_EQ(resources, (QStringList{"resources/intro.bundle", "resources/local.mp4",
                                      "resources/scene.mp4"}));
    EXPECT_EQ(TestSupport::zipEntry(package, QStringLiteral("resources/scene.mp4")), "scene");
    ASSERT_EQ(builder.package().importAddOns.size(), 3u);
    for (const Package::CollectionAddOn& addOn : builder.package().importAddOns)
        EXPECT_TRUE(entries.contains(addOn.path + "item.xml")) << addOn.path.toStdString();
    // The bundle was written outside the working folder, so only its copy is packed.
    EXPECT_TRUE(QFileInfo(dir.filePath(QStringLiteral("work/build/intro.bundle"))).isFile());
    EXPECT_TRUE(entries.filter(QStringLiteral("build/")).isEmpty());
}
