#include <gtest/gtest.h>

#include <memory>
#include <tuple>
#include <type_traits>
#include <variant>

#include "package/build_context.h"
#include "platform/model/timeline_object.h"
#include "platform/serialize/archive.h"

namespace Package {
namespace {

template <class... T>
constexpr bool copyable = ((std::is_copy_constructible_v<T> && std::is_copy_assignable_v<T> &&
                            std::is_move_constructible_v<T> && std::is_move_assignable_v<T>)&&...);
template <class... T>
constexpr bool moveOnly = ((!std::is_copy_constructible_v<T> && !std::is_copy_assignable_v<T> &&
                            std::is_move_constructible_v<T> && std::is_move_assignable_v<T>)&&...);

static_assert(copyable<LutEffectParams, ShaderParams, ShaderEffectParams, ShaderTransitionParams,
                       MaskTransitionParams, OverlayTransitionParams, ImportParams, BuildContext>);
// A context copies exactly when its record does.
static_assert(copyable<BuildContextT<ImportParams>, BuildContextT<LutEffectParams>,
                       BuildContextT<ShaderEffectParams>, BuildContextT<MaskTransitionParams>>);
static_assert(moveOnly<IntroParams, OverlayParams, BuildContextT<IntroParams>,
                       BuildContextT<OverlayParams>, IntermediateOverlayBuildContext>);

// Callers switch on the index, so each alternative must stay where it is.
template <size_t I, class T>
constexpr bool alternativeIs = std::is_same_v<std::variant_alternative_t<I, AnyBuildContext>, T>;
static_assert(std::variant_size_v<AnyBuildContext> == 9);
static_assert(alternativeIs<0, BuildContextT<ImportParams>>);
static_assert(alternativeIs<1, BuildContextT<IntroParams>>);
static_assert(alternativeIs<2, BuildContextT<OverlayParams>>);
static_assert(alternativeIs<3, IntermediateOverlayBuildContext>);
static_assert(alternativeIs<4, BuildContextT<MaskTransitionParams>>);
static_assert(alternativeIs<5, BuildContextT<OverlayTransitionParams>>);
static_assert(alternativeIs<6, BuildContextT<ShaderTransitionParams>>);
static_assert(alternativeIs<7, BuildContextT<ShaderEffectParams>>);
static_assert(alternativeIs<8, BuildContextT<LutEffectParams>>);

// The whole content of a timeline, to compare two of them.
QByteArray xmlOf(const Timeline::Object& timeline) {
    Serialize::MemoryContent content;
    return Serialize::writeArchive(timeline, content);
}

Timeline::Clip clipAt(qint32 track, qint64 position, qint64 length) {
    Timeline::Clip clip;
    clip.track = track;
    clip.timing.position = position;
    clip.timing.length = length;
    return clip;
}

template <class Params>
void giveTimeline(Params& params) {
    auto timeline = std::make_unique<Timeline::Object>();
    timeline->addTrack("Main");
    timeline->addTrack("Titles");
    timeline->setPrimaryTrack(0);
    timeline->addClip(clipAt(0, 0, 4000));
    timeline->addClip(clipAt(1, 500, 2000));
    params.timeline = params.timelineStorage.adopt(std::move(timeline));
}

// Every value of an overlay record but its timeline and its win subfolder.
auto overlayValues(const OverlayParams& p) {
    return std::make_tuple(p.overlayType, p.useMediaTiming, p.firstItemSpan, p.secondItemSpan,
                           p.videoTiming.start, p.videoTiming.length, p.videoTiming.frameRate);
}

// The records that own a timeline.
template <class Params>
class TimelineParams : public ::testing::Test {};
using TimelineParamsTypes = ::testing::Types<IntroParams, OverlayParams>;
TYPED_TEST_SUITE(TimelineParams, TimelineParamsTypes);

}  // namespace

TEST(BuildParams, DefaultsAreEmpty) {
    const LutEffectParams lut;
    EXPECT_TRUE(lut.primaryText.isEmpty() && lut.secondaryText.isEmpty() && lut.lutPath.isEmpty());
    for (const ShaderParams& shader : {ShaderParams(), ShaderParams(ShaderEffectParams()),
                                       ShaderParams(ShaderTransitionParams())}) {
        EXPECT_TRUE(shader.primaryText.isEmpty() && shader.secondaryText.isEmpty() &&
                    shader.shaderPath.isEmpty() && shader.auxImagePath.isEmpty());
        EXPECT_FALSE(shader.supportsIntensity);
        EXPECT_EQ(shader.intensity, 0.0);
    }
    EXPECT_TRUE(MaskTransitionParams().sourcePath.isEmpty());
    EXPECT_TRUE(OverlayTransitionParams().sourcePath.isEmpty());

    const ImportParams import;
    ASSERT_EQ(import.source.index(), 0u);
    EXPECT_TRUE(std::get<QString>(import.source).isEmpty());
    EXPECT_EQ(import.importType, 0);
    EXPECT_TRUE(import.primaryText.isEmpty() && import.secondaryText.isEmpty());

    const IntroParams intro;
    EXPECT_EQ(intro.timeline, nullptr);
    EXPECT_TRUE(intro.timelineStorage.empty());
    EXPECT_TRUE(intro.primaryText.isEmpty() && intro.secondaryText.isEmpty());

    const OverlayParams overlay;
    EXPECT_EQ(overlay.timeline, nullptr);
    EXPECT_TRUE(overlay.timelineStorage.empty());
    EXPECT_EQ(overlayValues(overlay), std::make_tuple(TitleOverlay, false, 0, 0, 0, 0, 0));
    EXPECT_FALSE(overlay.winSubfolder);

    const BuildContext context;
    EXPECT_TRUE(context.previewPath.isEmpty() && context.name.isEmpty() &&
                context.categories.isEmpty() && context.collectionId.isEmpty());
    EXPECT_TRUE(IntermediateOverlayBuildContext().introCollectionId.isEmpty());
}

TEST(BuildParams, ClonesCarryEveryFieldButTheWinSubfolder) {
    OverlayParams overlay;
    overlay.overlayType = StickerOverlay;
    overlay.useMediaTiming = true;
    overlay.firstItemSpan = 1200;
    overlay.secondItemSpan = 800;
    overlay.videoTiming = {100, 5000, 29970};
    overlay.winSubfolder = true;
    const OverlayParams overlayClone = overlay.clone();
    EXPECT_EQ(overlayValues(overlayClone), overlayValues(overlay));
    EXPECT_FALSE(overlayClone.winSubfolder);

    IntroParams intro;
    intro.primaryText = "Intro «Sommer»";
    intro.secondaryText = "Second line";
    const IntroParams introClone = intro.clone();
    EXPECT_EQ(introClone.primaryText, intro.primaryText);
    EXPECT_EQ(introClone.secondaryText, intro.secondaryText);
}

TYPED_TEST(TimelineParams, CloneOfNoTimelineHasNone) {
    const TypeParam clone = TypeParam().clone();
    EXPECT_EQ(clone.timeline, nullptr);
    EXPECT_TRUE(clone.timelineStorage.empty());
}

TYPED_TEST(TimelineParams, CloneOwnsAnIndependentTimeline) {
    auto source = std::make_unique<TypeParam>();
    giveTimeline(*source);
    const QByteArray original = xmlOf(*source->timeline);

    TypeParam clone = source->clone();
    ASSERT_NE(clone.timeline, nullptr);
    EXPECT_NE(clone.timeline, source->timeline);
    EXPECT_FALSE(clone.timelineStorage.empty());
    EXPECT_EQ(xmlOf(*clone.timeline), original);

    // Changes on either side stay on that side, and the clone outlives its source.
    clone.timeline->clearTrack(clone.timeline->track(0));
    EXPECT_EQ(xmlOf(*source->timeline), original);
    source->timeline->addClip(clipAt(1, 9000, 100));
    const QByteArray cloned = xmlOf(*clone.timeline);
    source.reset();
    EXPECT_EQ(xmlOf(*clone.timeline), cloned);
    ASSERT_EQ(clone.timeline->clips().size(), 1u);
    EXPECT_EQ(clone.timeline->duration(), 2500);
}

TYPED_TEST(TimelineParams, MoveHandsTheTimelineOver) {
    TypeParam source;
    giveTimeline(source);
    Timeline::Object* const timeline = source.timeline;
    const QByteArray original = xmlOf(*timeline);

    TypeParam moved(std::move(source));
    EXPECT_EQ(moved.timeline, timeline);
    EXPECT_FALSE(moved.timelineStorage.empty());
    EXPECT_EQ(source.timeline, timeline);  // left dangling: only the owner may use it
    EXPECT_TRUE(source.timelineStorage.empty());

    TypeParam assigned;
    giveTimeline(assigned);  // dropped, with its storage, by the assignment
    assigned = std::move(moved);
    EXPECT_EQ(assigned.timeline, timeline);
    EXPECT_EQ(assigned.timelineStorage.size(), 1u);
    EXPECT_EQ(moved.timeline, timeline);
    EXPECT_TRUE(moved.timelineStorage.empty());
    EXPECT_EQ(xmlOf(*assigned.timeline), original);
}

TEST(BuildParams, ImportCopyKeepsTheActiveSource) {
    ImportParams local;
    local.source = QString("/media/clip.mp4");
    local.importType = ImageImport;
    local.primaryText = "Clip";
    const ImportParams localCopy = local;
    ASSERT_EQ(localCopy.source.index(), 0u);
    EXPECT_EQ(std::get<QString>(localCopy.source), "/media/clip.mp4");
    EXPECT_EQ(localCopy.importType, ImageImport);
    EXPECT_EQ(localCopy.primaryText, "Clip");

    ImportParams remote;
    remote.source = RemoteSource{"https://example.com/a.mp4", "pack"};
    ImportParams remoteCopy = local;
    remoteCopy = remote;
    ASSERT_EQ(remoteCopy.source.index(), 1u);
    EXPECT_EQ(std::get<RemoteSource>(remoteCopy.source).remoteUrl, "https://example.com/a.mp4");
    EXPECT_EQ(std::get<RemoteSource>(remoteCopy.source).packageName, "pack");

    // A source whose assignment failed half-way has no value; a copy must not invent one.
    struct Boom {
        operator QString() const { throw 1; }
    };
    ImportParams broken;
    try {
        broken.source.emplace<0>(Boom{});
    } catch (int) {
    }
    ASSERT_TRUE(broken.source.valueless_by_exception());
    const ImportParams brokenCopy = broken;
    EXPECT_TRUE(brokenCopy.source.valueless_by_exception());
}

}  // namespace Package
