#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <cmath>

#include "package/builder.h"
#include "package/components/imports/intro_build_component.h"
#include "package/components/overlays/final_overlay_build_component.h"
#include "package/components/overlays/intermediate_overlay_build_component.h"
#include "package/components/overlays/video_placement.h"
#include "platform/bundle/store_item.h"
#include "platform/model/package_object.h"
#include "platform/model/video_effect.h"
#include "test_support.h"

namespace {

using Key = Animation::KeyValue<Transformation::Object>;

Transformation::Object at(double x) {
    Transformation::Object value;
    value.x = x;
    return value;
}

Overlay::Preset presetOf(int items) {
    Overlay::Preset preset;
    for (int i = 0; i < items; ++i) {
        Overlay::Item item;
        item.name = QStringLiteral("item %1").arg(i);
        item.content = QStringLiteral("text %1").arg(i);
        preset.appendItem(item);
    }
    return preset;
}

Timeline::Clip overlayClip(int track, qint64 position, qint64 length, int items = 1) {
    Timeline::Clip clip;
    clip.track = track;
    clip.timing = {position, length, 0, length, Timeline::OverlayContent};
    clip.setOverlayPreset(presetOf(items));
    return clip;
}

// A timeline with a primary track (0) holding one long clip and an overlay track (1).
struct Fixture {
    QTemporaryDir dir;
    Package::Object package;
    Package::OverlayParams params;
    Timeline::Object* timeline = nullptr;

    Fixture() {
        package.folder = dir.path();
        package.name = QStringLiteral("Pack");
        params.timeline = timeline =
            params.timelineStorage.adopt(std::make_unique<Timeline::Object>());
        timeline->addTrack(QStringLiteral("main"));
        timeline->addTrack(QStringLiteral("overlays"));
        timeline->setPrimaryTrack(0);
        Timeline::Clip main = overlayClip(0, 0, 100000);
        timeline->addClip(main);
    }

    // Builds a final overlay and reads its stored preset back.
    Overlay::Preset build(const QString& collectionId = QStringLiteral("titles"),
                          Package::ResourceFixupQueue* fixups = nullptr) {
        Package::FinalOverlayBuildComponent component(params);
        component.setCollectionId(collectionId);
        Package::ResourceFixupQueue queue = component.build(&package);
        if (fixups)
            *fixups = std::move(queue);
        const QString addOn = package.presetAddOns.back().path;
        const QString uuid = addOn.section(QLatin1Char('/'), -2, -2);
        auto record = Bundle::loadItem<Overlay::Preset>(
            package.folder + "/" + collectionId + "//" + uuid, storage);
        return *record.item;
    }

    Serialize::ObjectStorage storage;
};

}  // namespace

TEST(OverlayMerge, ItemsAreTimedAsFractionsOfTheWholeInClipOrder) {
    Fixture f;
    f.params.firstItemSpan = 500;
    f.params.secondItemSpan = 250;
    f.timeline->addClip(overlayClip(1, 3000, 1000, 2));
    f.timeline->addClip(overlayClip(1, 1000, 2000));
    f.timeline->addClip(overlayClip(0, 500, 99999));  // primary: cleared, not counted
    Timeline::Clip bare = overlayClip(1, 0, 500);
    bare = Timeline::Clip();  // no preset: contributes nothing even with an envelope
    bare.track = 1;
    bare.timing = {0, 500, 0, 500, Timeline::OverlayContent};
    Transformation::Envelope envelope;
    envelope.keys.emplace_back(0.5, at(1));
    bare.setEnvelope(envelope);
    f.timeline->addClip(bare);

    const Overlay::Preset preset = f.build();
    EXPECT_EQ(preset.duration, 4000);  // the primary track does not count
    EXPECT_EQ(preset.kind, 1);
    EXPECT_EQ(preset.name, QStringLiteral("Pack"));
    ASSERT_EQ(preset.items.size(), 3u);
    // Clip order: the clip at 1000 first, then both items of the clip at 3000.
    EXPECT_EQ(preset.items[0].content, QStringLiteral("text 0"));
    EXPECT_EQ(preset.items[0].begin, 0.25);
    EXPECT_EQ(preset.items[0].end, 0.75);
    EXPECT_EQ(preset.items[0].firstFraction, 0.25);
    EXPECT_EQ(preset.items[0].secondFraction, 0.125);
    EXPECT_EQ(preset.items[1].content, QStringLiteral("text 0"));
    EXPECT_EQ(preset.items[2].content, QStringLiteral("text 1"));
    EXPECT_EQ(preset.items[2].begin, 0.75);
    EXPECT_EQ(preset.items[2].end, 1.0);
    EXPECT_EQ(preset.items[2].firstFraction, 0.5);
    for (const Overlay::Item& item : preset.items)
        EXPECT_TRUE(item.name.isEmpty());
}

TEST(OverlayMerge, KeysAreCutToTheVisiblePartAndRenormalised) {
    Fixture f;
    // Content 0..4000, visible 1000..3000.
    Timeline::Clip clip = overlayClip(1, 0, 2000);
    clip.timing.contentLength = 4000;
    clip.timing.inPoint = 1000;
    Transformation::Envelope envelope;
    for (double step : {0.0, 0.25, 0.5, 0.75, 1.0})
        envelope.keys.emplace_back(step, at(step));
    clip.setEnvelope(envelope);
    f.timeline->addClip(clip);

    // A clip whose keys all lie outside keeps its items' own envelope.
    Timeline::Clip outside = overlayClip(1, 2000, 1000);
    outside.timing.contentLength = 3000;
    Overlay::Preset own = presetOf(1);
    own.items[0].envelope.keys.emplace_back(0.3, at(7));
    outside.setOverlayPreset(own);
    Transformation::Envelope late;
    late.keys.emplace_back(0.9, at(9));
    outside.setEnvelope(late);
    f.timeline->addClip(outside);

    const Overlay::Preset preset = f.build();
    ASSERT_EQ(preset.items.size(), 2u);
    const auto& keys = preset.items[0].envelope.keys;
    ASSERT_EQ(keys.size(), 3u);
    EXPECT_EQ(keys[0].step, 0.0);
    EXPECT_EQ(keys[0].value.x, 0.25);
    EXPECT_EQ(keys[1].step, 0.5);
    EXPECT_EQ(keys[2].step, 1.0);
    EXPECT_EQ(keys[2].value.x, 0.75);
    ASSERT_EQ(preset.items[1].envelope.keys.size(), 1u);
    EXPECT_EQ(preset.items[1].envelope.keys[0].value.x, 7.0);
}

TEST(OverlayMerge, EqualStepsLandReversedAndWholeVisibleContentKeepsItsSteps) {
    Fixture f;
    Timeline::Clip clip = overlayClip(1, 0, 1000);
    Transformation::Envelope envelope;
    envelope.keys.emplace_back(0.0, at(1));
    envelope.keys.emplace_back(0.5, at(2));
    envelope.keys.emplace_back(0.5, at(3));
    envelope.keys.emplace_back(0.8, at(4));
    clip.setEnvelope(envelope);
    f.timeline->addClip(clip);

    const auto keys = f.build().items[0].envelope.keys;
    ASSERT_EQ(keys.size(), 4u);
    EXPECT_EQ(keys[0].step, 0.0);
    EXPECT_EQ(keys[1].value.x, 3.0);  // the later of the two equal steps comes first
    EXPECT_EQ(keys[2].value.x, 2.0);
    EXPECT_EQ(keys[3].step, 0.8);
}

TEST(OverlayMerge, EquivalentClipsCollapseToTheFirstMet) {
    Fixture f;
    Timeline::Clip first = overlayClip(1, 1000, 500);
    Timeline::Clip second = overlayClip(1, 1000, 900, 3);
    f.timeline->addClip(first);
    f.timeline->addClip(second);
    const Overlay::Preset preset = f.build();
    ASSERT_EQ(preset.items.size(), 1u);
    EXPECT_EQ(preset.items[0].end, 1500.0 / 1900.0);  // the first clip, in the whole length
    EXPECT_NE(preset.items[0].begin, 0.0);
}

TEST(OverlayMerge, ZeroLengthsGiveNonFiniteValuesThatSurviveStoring) {
    Fixture f;
    Timeline::Clip clip = overlayClip(1, 0, 0);
    Transformation::Envelope envelope;
    envelope.keys.emplace_back(0.0, at(1));
    clip.setEnvelope(envelope);
    f.timeline->addClip(clip);
    f.params.firstItemSpan = 10;
    // Only a zero-length clip on an otherwise empty overlay track: the duration is 0 as well.
    const Overlay::Preset preset = f.build();
    ASSERT_EQ(preset.items.size(), 1u);
    const Overlay::Item& item = preset.items[0];
    EXPECT_TRUE(std::isnan(item.begin));  // 0 / 0
    EXPECT_TRUE(std::isnan(item.end));
    EXPECT_TRUE(std::isinf(item.firstFraction));
    EXPECT_TRUE(std::isnan(item.secondFraction));
    ASSERT_EQ(item.envelope.keys.size(), 1u);
    EXPECT_TRUE(std::isnan(item.envelope.keys[0].step));
}

TEST(FinalOverlay, FoldersKindsAndCategories) {
    for (const auto& [type, kind] :
         std::vector<std::pair<int, int>>{{0, 1}, {1, 2}, {2, 3}, {3, 0}, {-1, 0}})
        EXPECT_EQ(Package::FinalOverlayBuildComponent::presetKind(type), kind) << type;

    Fixture f;
    f.params.winSubfolder = true;  // dropped by the clone the component keeps
    Package::FinalOverlayBuildComponent component(f.params);
    component.setCollectionId(QStringLiteral("stickers"));
    component.setCategories({QStringLiteral("b"), QStringLiteral("a")});
    EXPECT_TRUE(component.build(&f.package).empty());
    const Package::CollectionAddOn& addOn = f.package.presetAddOns.back();
    EXPECT_TRUE(addOn.path.startsWith(QStringLiteral("stickers/{"))) << addOn.path.toStdString();
    EXPECT_TRUE(addOn.path.endsWith(QStringLiteral("}/")));
    EXPECT_EQ(addOn.categories, (std::map<QString, QString>{{"a", "stickers"}, {"b", "stickers"}}));
    const QString uuid = addOn.path.section(QLatin1Char('/'), 1, 1);
    EXPECT_TRUE(QFileInfo::exists(f.dir.path() + "/stickers/" + uuid + "/item.xml"));
}

TEST(ExtraVideo, VideoClipsBecomeVideoItemsWithTheirMediaAndStills) {
    Fixture f;
    f.params.videoTiming = {100, 2000, 25000};
    Timeline::Clip video;
    video.track = 1;
    video.timing = {1000, 4000, 0, 2000, Timeline::VideoContent};
    video.media.sourcePath = QStringLiteral("/media/clip.mov");
    video.media.streams.push_back({Timeline::StreamDescription::Video, 1920, 1080});
    f.timeline->addClip(video);
    video.timing.position = 2000;  // the same source again
    f.timeline->addClip(video);
    Timeline::Clip audio = video;
    audio.timing = {0, 4000, 0, 4000, Timeline::AudioContent};
    f.timeline->addClip(audio);

    Package::ResourceFixupQueue fixups;
    const Overlay::Preset preset = f.build(QStringLiteral("titles"), &fixups);
    EXPECT_EQ(fixups.size(), 4u);  // copy and still for each video clip, none for audio
    ASSERT_EQ(preset.items.size(), 2u);
    const auto& resources = f.package.presetAddOns.back().resources;
    ASSERT_EQ(resources.size(), 4u);
    EXPECT_EQ(resources[0].path, QStringLiteral("resources/clip.mov"));
    EXPECT_EQ(resources[0].type(), Resource::MediaFile);
    EXPECT_EQ(resources[0].timing, (Resource::Timing{100, 2000, 25000}));
    EXPECT_EQ(resources[1].path, QStringLiteral("resources/clip_preview.png"));
    EXPECT_EQ(resources[1].type(), Resource::StillImage);
    EXPECT_EQ(resources[1].id(), resources[0].id());
    EXPECT_NE(resources[2].id(), resources[0].id());  // two clips, two ids

    const Overlay::Item& item = preset.items[0];
    EXPECT_EQ(item.kind, Overlay::Item::Video);
    EXPECT_EQ(item.resource, Resource::serializeResource({resources[0].id(), Resource::MediaFile}));
    EXPECT_EQ(item.begin, 0.25);
    EXPECT_EQ(item.end, 0.75);
    EXPECT_EQ(item.transform, Types::Transform());  // no placement effect: the default
}

TEST(VideoPlacement, IdentitySideBySideAndPictureInPicture) {
    Timeline::Object timeline;
    timeline.addTrack(QStringLiteral("t"));
    Timeline::Clip clip;
    clip.media.streams.push_back({Timeline::StreamDescription::Video, 640, 480});
    const Effect::VideoEffect sideBySide(Effect::Id::SideBySide, Effect::Group::GroupPip);
    // A 4:3 picture fills the height of the 16:9 scene, centred, in the 1280 x 720 reference.
    const QTransform placed = Package::videoPlacement(&timeline, clip, sideBySide).toQTransform();
    EXPECT_EQ(placed.map(QPointF(0, 0)), QPointF(160, 0));
    EXPECT_EQ(placed.map(QPointF(640, 480)), QPointF(1120, 720));

    // The bottom-right quarter of the scene.
    clip.media.streams[0] = {Timeline::StreamDescription::Video, 1920, 1080};
    Effect::PictureInPicture pip;
    pip.transform = Types::Transform(0.5, 0, 0, 0, 0.5, 0, 0.5, 0.5, 1);
    const QTransform quarter = Package::videoPlacement(&timeline, clip, pip).toQTransform();
    EXPECT_EQ(quarter.map(QPointF(0, 0)), QPointF(640, 360));
    EXPECT_EQ(quarter.map(QPointF(1920, 1080)), QPointF(1280, 720));

    // Another effect of the group keeps the identity placement: the whole scene.
    const Effect::VideoEffect other(QStringLiteral("effect_other"), Effect::Group::GroupPip);
    const QTransform whole = Package::videoPlacement(&timeline, clip, other).toQTransform();
    EXPECT_EQ(whole.map(QPointF(1920, 1080)), QPointF(1280, 720));

    EXPECT_TRUE(Package::fitTransform(QSizeF(0, 0), QSizeF(4, 4)).isIdentity());
    EXPECT_TRUE(Package::fitTransform(QSizeF(3, 3), QSizeF(3, 3)).isIdentity());
    EXPECT_EQ(Package::fitTransform(QSizeF(2, 4), QSizeF(4, 4)), QTransform::fromScale(2, 1));
}

TEST(ExtraVideo, ASourceWithoutVideoFailsTheBuildWhenItsStillIsMade) {
    QTemporaryDir dir;
    const QString audio = dir.filePath(QStringLiteral("tone.m4a"));
    if (TestSupport::run(QStringLiteral("ffmpeg"),
                         {"-v", "error", "-f", "lavfi", "-i", "sine=d=1", audio}) != 0)
        GTEST_SKIP() << "needs the ffmpeg command to make a test file";
    Fixture f;
    Timeline::Clip clip;
    clip.track = 1;
    clip.timing = {0, 1000, 0, 1000, Timeline::VideoContent};  // claims video, holds none
    clip.media.sourcePath = audio;
    f.timeline->addClip(clip);

    auto component = std::make_shared<Package::FinalOverlayBuildComponent>(f.params);
    component->setCollectionId(QStringLiteral("titles"));
    Package::Builder builder(dir.filePath(QStringLiteral("work")), dir.filePath("out.qpack"),
                             QStringLiteral("Pack"), QStringLiteral("Pack"), QPixmap());
    builder.setupBuildComponent(component);
    try {
        builder.build(QString());
        FAIL() << "the build went through";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Can not extract video stream to make snapshot");
    }
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("out.qpack")));
}

TEST(IntermediateOverlay, StoresOneUnconvertedItemAndTheTimelineAsAnIntro) {
    Fixture f;
    f.params.overlayType = Package::StickerOverlay;
    f.params.firstItemSpan = 500;
    f.params.secondItemSpan = 300;
    f.params.videoTiming = {10, 20, 30};
    f.timeline->addClip(overlayClip(1, 0, 2000));
    f.package.folder = f.dir.filePath(QStringLiteral("work"));  // the bundle goes beside it
    Package::IntermediateOverlayBuildComponent component(f.params, QStringLiteral("intros"));
    component.setCategories({QStringLiteral("fun")});
    const Package::ResourceFixupQueue fixups = component.build(&f.package);
    EXPECT_EQ(fixups.size(), 1u);  // the project part's copy; the overlay part adds none

    ASSERT_EQ(f.package.presetAddOns.size(), 1u);
    const Package::CollectionAddOn& overlay = f.package.presetAddOns.front();
    EXPECT_TRUE(overlay.path.startsWith(QStringLiteral("titles/{")));
    ASSERT_EQ(overlay.resources.size(), 1u);
    EXPECT_EQ(overlay.resources[0].type(), Resource::DataFile);
    EXPECT_EQ(overlay.resources[0].timing, (Resource::Timing{10, 20, 30}));
    const QString uuid = overlay.path.section(QLatin1Char('/'), 1, 1);
    auto record =
        Bundle::loadItem<Overlay::Preset>(f.package.folder + "/titles//" + uuid, f.storage);
    EXPECT_EQ(record.item->kind, Overlay::Preset::Sticker);
    EXPECT_EQ(record.item->duration, 100000);  // the primary track counts here
    ASSERT_EQ(record.item->items.size(), 1u);
    EXPECT_EQ(record.item->items[0].firstFraction, 500.0);
    EXPECT_EQ(record.item->items[0].secondFraction, 300.0);

    ASSERT_EQ(f.package.importAddOns.size(), 1u);
    EXPECT_EQ(f.package.importAddOns[0].categories,
              (std::map<QString, QString>{{"fun", "intros"}}));
    EXPECT_TRUE(QFileInfo::exists(Package::IntroBuildComponent::bundlePath(f.package.folder)));
}

TEST(OverlayRecipe, AnOverlayIsFiledUnderItsTypesCollection) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("t.json"), R"({"tracks": ["a"], "clips": [
        {"track": 0, "content": "overlay", "position": 0, "length": 1000,
         "overlay": {"items": [{"content": "Hi"}]}}]})");
    TestSupport::writeFile(dir.filePath("recipe.json"), R"({"name": "T", "components": [
        {"kind": "overlay", "timeline": "t.json", "overlayType": "callout",
         "firstItemSpan": 250, "videoTiming": {"length": 5}}]})");
    const TestSupport::ToolResult built =
        TestSupport::tool({QStringLiteral("build"), dir.filePath("recipe.json")});
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    bool found = false;
    for (const QString& entry : TestSupport::zipEntries(dir.filePath("T.qpack")))
        found = found || (entry.startsWith("callouts/{") && entry.endsWith("/item.xml"));
    EXPECT_TRUE(found);

    TestSupport::writeFile(dir.filePath("recipe.json"), R"({"name": "T", "components": [
        {"kind": "overlay", "timeline": "t.json", "videoTiming": {"lenght": 5}}]})");
    const TestSupport::ToolResult broken =
        TestSupport::tool({QStringLiteral("build"), dir.filePath("recipe.json")});
    EXPECT_EQ(broken.code, 1);
    EXPECT_TRUE(broken.errors.contains("components[0].videoTiming.lenght: unknown field"))
        << broken.errors.toStdString();
}
