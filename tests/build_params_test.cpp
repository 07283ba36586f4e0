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
static_assert(
    std::is_same_v<
        AnyBuildContext,
        std::variant<BuildContextT<ImportParams>, BuildContextT<IntroParams>,
                     BuildContextT<OverlayParams>, IntermediateOverlayBuildContext,
                     BuildContextT<MaskTransitionParams>, BuildContextT<OverlayTransitionParams>,
                     BuildContextT<ShaderTransitionParams>, BuildContextT<ShaderEffectParams>,
                     BuildContextT<LutEffectParams>>>);

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

// The records that own a timeline.
template <class Params>
class TimelineParams : public ::testing::Test {};
using TimelineParamsTypes = ::testing::Types<IntroParams, OverlayParams>;
TYPED_TEST_SUITE(TimelineParams, TimelineParamsTypes);

}  // namespace

TEST(BuildParams, ClonesCarryEveryFieldButTheWinSubfolder) {
    OverlayParams overlay;
    overlay.overlayType = StickerOverlay;
    overlay.useMediaTiming = true;
    overlay.firstItemSpan = 1200;
    overlay.secondItemSpan = 800;
    overlay.videoTiming = {100, 5000, 29970};
    overlay.winSubfolder = true;
    const OverlayParams clone = overlay.clone();
    const auto values = [](const OverlayParams& p) {
        return std::make_tuple(p.overlayType, p.useMediaTiming, p.firstItemSpan, p.secondItemSpan,
                               p.videoTiming.start, p.videoTiming.length, p.videoTiming.frameRate);
    };
    EXPECT_EQ(values(clone), values(overlay));
    EXPECT_FALSE(clone.winSubfolder);

    IntroParams intro;
    intro.primaryText = "Intro «Sommer»";
    intro.secondaryText = "Second line";
    const IntroParams introClone = intro.clone();
    EXPECT_EQ(introClone.primaryText, intro.primaryText);
    EXPECT_EQ(introClone.secondaryText, intro.secondaryText);
}

TYPED_TEST(TimelineParams, CloneOwnsAnIndependentTimeline) {
    const TypeParam none = TypeParam().clone();
    EXPECT_EQ(none.timeline, nullptr);
    EXPECT_TRUE(none.timelineStorage.empty());

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
    source.reset();
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
    EXPECT_TRUE(source.timelineStorage.empty());

    TypeParam assigned;
    giveTimeline(assigned);  // dropped, with its storage, by the assignment
    assigned = std::move(moved);
    EXPECT_EQ(assigned.timeline, timeline);
    EXPECT_EQ(assigned.timelineStorage.size(), 1u);
    EXPECT_TRUE(moved.timelineStorage.empty());
    EXPECT_EQ(xmlOf(*assigned.timeline), original);
}

}  // namespace Package
