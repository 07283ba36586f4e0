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

// Where an item plays and how it fades.
auto timing(const Overlay::Item& item) {
    return std::make_tuple(item.begin, item.end, item.firstFraction, item.secondFraction);
}

Transformation::Envelope envelopeOf(std::initializer_list<std::pair<double, double>> stepAndX) {
    Transformation::Envelope envelope;
    for (const auto& [step, x] : stepAndX)
        envelope.keys.emplace_back(step, at(x));
    return envelope;
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

using StepsAndX = std::vector<std::pair<double, double>>;
StepsAndX stepsAndX(const Overlay::Item& item) {
    StepsAndX result;
    for (const Key& key : item.envelope.keys)
        result.emplace_back(key.step, key.value.x);
    return result;
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
        package.name = "Pack";
        params.timeline = timeline =
            params.timelineStorage.adopt(std::make_unique<Timeline::Object>());
        timeline->addTrack("main");
        timeline->addTrack("overlays");
        timeline->setPrimaryTrack(0);
        Timeline::Clip main = overlayClip(0, 0, 100000);
        timeline->addClip(main);
    }

    // Builds a final overlay and reads its stored preset back.
    Overlay::Preset build(const QString& collectionId = "titles",
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
    Timeline::Clip bare;  // no preset: contributes nothing even with an envelope
    bare.track = 1;
    bare.timing = {0, 500, 0, 500, Timeline::OverlayContent};
    bare.setEnvelope(envelopeOf({{0.5, 1}}));
    f.timeline->addClip(bare);

    const Overlay::Preset preset = f.build();
    EXPECT_EQ(std::tie(preset.duration, preset.kind, preset.name),
              std::make_tuple(4000, 1, "Pack"));
    ASSERT_EQ(preset.items.size(), 3u);
    // Clip order: the clip at 1000 first, then both items of the clip at 3000.
    EXPECT_EQ(preset.items[0].content, "text 0");
    EXPECT_EQ(timing(preset.items[0]), std::make_tuple(0.25, 0.75, 0.25, 0.125));
    EXPECT_EQ(preset.items[1].content, "text 0");
    EXPECT_EQ(preset.items[2].content, "text 1");
    EXPECT_EQ(timing(preset.items[2]), std::make_tuple(0.75, 1.0, 0.5, 0.25));
    for (const Overlay::Item& item : preset.items)
        EXPECT_TRUE(item.name.isEmpty());
}

TEST(OverlayMerge, KeysAreCutToTheVisiblePartAndRenormalised) {
    Fixture f;
    // Content 0..4000, visible 1000..3000.
    Timeline::Clip clip = overlayClip(1, 0, 2000);
    clip.timing.contentLength = 4000;
    clip.timing.inPoint = 1000;
    clip.setEnvelope(envelopeOf({{0.0, 0.0}, {0.25, 0.25}, {0.5, 0.5}, {0.75, 0.75}, {1.0, 1.0}}));
    f.timeline->addClip(clip);

    // A clip whose keys all lie outside keeps its items' own envelope.
    Timeline::Clip outside = overlayClip(1, 2000, 1000);
    outside.timing.contentLength = 3000;
    Overlay::Preset own = presetOf(1);
    own.items[0].envelope = envelopeOf({{0.3, 7}});
    outside.setOverlayPreset(own);
    outside.setEnvelope(envelopeOf({{0.9, 9}}));
    f.timeline->addClip(outside);

    const Overlay::Preset preset = f.build();
    ASSERT_EQ(preset.items.size(), 2u);
    EXPECT_EQ(stepsAndX(preset.items[0]), (StepsAndX{{0.0, 0.25}, {0.5, 0.5}, {1.0, 0.75}}));
    EXPECT_EQ(stepsAndX(preset.items[1]), (StepsAndX{{0.3, 7.0}}));
}

TEST(OverlayMerge, EqualStepsLandReversedAndWholeVisibleContentKeepsItsSteps) {
    Fixture f;
    Timeline::Clip clip = overlayClip(1, 0, 1000);
    clip.setEnvelope(envelopeOf({{0.0, 1}, {0.5, 2}, {0.5, 3}, {0.8, 4}}));
    f.timeline->addClip(clip);
    // The later of the two equal steps comes first.
    EXPECT_EQ(stepsAndX(f.build().items.at(0)),
              (StepsAndX{{0.0, 1.0}, {0.5, 3.0}, {0.5, 2.0}, {0.8, 4.0}}));
}

TEST(OverlayMerge, EquivalentClipsCollapseToTheFirstMet) {
    Fixture f;
    f.timeline->addClip(overlayClip(1, 1000, 500));
    f.timeline->addClip(overlayClip(1, 1000, 900, 3));
    const Overlay::Preset preset = f.build();
    ASSERT_EQ(preset.items.size(), 1u);
    EXPECT_EQ(preset.items[0].end, 1500.0 / 1900.0);  // the first clip, in the whole length
    EXPECT_NE(preset.items[0].begin, 0.0);
}

TEST(OverlayMerge, ZeroLengthsGiveNonFiniteValuesThatSurviveStoring) {
    Fixture f;
    Timeline::Clip clip = overlayClip(1, 0, 0);
    clip.setEnvelope(envelopeOf({{0.0, 1}}));
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
    component.setCollectionId("stickers");
    component.setCategories({"b", "a"});
    EXPECT_TRUE(component.build(&f.package).empty());
    const Package::CollectionAddOn& addOn = f.package.presetAddOns.back();
    EXPECT_TRUE(addOn.path.startsWith("stickers/{")) << addOn.path.toStdString();
    EXPECT_TRUE(addOn.path.endsWith("}/"));
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
    video.media.sourcePath = "/media/clip.mov";
    video.media.streams.push_back({Timeline::StreamDescription::Video, 1920, 1080});
    f.timeline->addClip(video);
    video.timing.position = 2000;  // the same source again
    f.timeline->addClip(video);
    Timeline::Clip audio = video;
    audio.timing = {0, 4000, 0, 4000, Timeline::AudioContent};
    f.timeline->addClip(audio);

    Package::ResourceFixupQueue fixups;
    const Overlay::Preset preset = f.build("titles", &fixups);
    EXPECT_EQ(fixups.size(), 4u);  // copy and still for each video clip, none for audio
    ASSERT_EQ(preset.items.size(), 2u);
    const auto& resources = f.package.presetAddOns.back().resources;
    ASSERT_EQ(resources.size(), 4u);
    EXPECT_EQ(std::tie(resources[0].path, resources[0].timing),
              std::make_tuple("resources/clip.mov", Resource::Timing{100, 2000, 25000}));
    EXPECT_EQ(resources[0].key, std::make_tuple(resources[1].id(), Resource::MediaFile));
    EXPECT_EQ(resources[1].path, "resources/clip_preview.png");
    EXPECT_EQ(resources[1].type(), Resource::StillImage);
    EXPECT_NE(resources[2].id(), resources[0].id());  // two clips, two ids

    const Overlay::Item& item = preset.items[0];
    EXPECT_EQ(std::tie(item.kind, item.resource, item.begin, item.end),
              std::make_tuple(Overlay::Item::Video, Resource::serializeResource(resources[0].key),
                              0.25, 0.75));
    EXPECT_EQ(item.transform, Types::Transform());  // no placement effect: the default
}

TEST(VideoPlacement, IdentitySideBySideAndPictureInPicture) {
    Timeline::Object timeline;
    timeline.addTrack("t");
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
    const Effect::VideoEffect other("effect_other", Effect::Group::GroupPip);
    const QTransform whole = Package::videoPlacement(&timeline, clip, other).toQTransform();
    EXPECT_EQ(whole.map(QPointF(1920, 1080)), QPointF(1280, 720));

    EXPECT_TRUE(Package::fitTransform(QSizeF(0, 0), QSizeF(4, 4)).isIdentity());
    EXPECT_TRUE(Package::fitTransform(QSizeF(3, 3), QSizeF(3, 3)).isIdentity());
    EXPECT_EQ(Package::fitTransform(QSizeF(2, 4), QSizeF(4, 4)), QTransform::fromScale(2, 1));
}

TEST(ExtraVideo, ASourceWithoutVideoFailsTheBuildWhenItsStillIsMade) {
    QTemporaryDir dir;
    const QString audio = dir.filePath("tone.m4a");
    if (TestSupport::run("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "sine=d=1", audio}) != 0)
        GTEST_SKIP() << "needs the ffmpeg command to make a test file";
    Fixture f;
    Timeline::Clip clip;
    clip.track = 1;
    clip.timing = {0, 1000, 0, 1000, Timeline::VideoContent};  // claims video, holds none
    clip.media.sourcePath = audio;
    f.timeline->addClip(clip);

    auto component = std::make_shared<Package::FinalOverlayBuildComponent>(f.params);
    component->setCollectionId("titles");
    Package::Builder builder(dir.filePath("work"), dir.filePath("out.qpack"), "Pack", "Pack",
                             QPixmap());
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
    f.package.folder = f.dir.filePath("work");  // the bundle goes beside it
    Package::IntermediateOverlayBuildComponent component(f.params, "intros");
    component.setCategories({"fun"});
    const Package::ResourceFixupQueue fixups = component.build(&f.package);
    EXPECT_EQ(fixups.size(), 1u);  // the project part's copy; the overlay part adds none

    ASSERT_EQ(f.package.presetAddOns.size(), 1u);
    const Package::CollectionAddOn& overlay = f.package.presetAddOns.front();
    EXPECT_TRUE(overlay.path.startsWith("titles/{"));
    ASSERT_EQ(overlay.resources.size(), 1u);
    EXPECT_EQ(overlay.resources[0].type(), Resource::DataFile);
    EXPECT_EQ(overlay.resources[0].timing, (Resource::Timing{10, 20, 30}));
    const QString uuid = overlay.path.section(QLatin1Char('/'), 1, 1);
    auto record =
        Bundle::loadItem<Overlay::Preset>(f.package.folder + "/titles//" + uuid, f.storage);
    // The primary track counts in the duration here; the spans are stored as given.
    EXPECT_EQ(std::tie(record.item->kind, record.item->duration),
              std::make_tuple(Overlay::Preset::Sticker, 100000));
    ASSERT_EQ(record.item->items.size(), 1u);
    EXPECT_EQ(timing(record.item->items[0]), std::make_tuple(0.0, 1.0, 500.0, 300.0));

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
    const TestSupport::ToolResult built = TestSupport::tool({"build", dir.filePath("recipe.json")});
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    bool found = false;
    for (const QString& entry : TestSupport::zipEntries(dir.filePath("T.qpack")))
        found = found || (entry.startsWith("callouts/{") && entry.endsWith("/item.xml"));
    EXPECT_TRUE(found);
}
