#include "package/build_params.h"

#include "platform/model/timeline_object.h"
#include "platform/serialize/cloner.h"

namespace Package {
namespace {

// Clones the timeline into the record's own storage. The cloner is asked even for a null
// timeline; a result that is not a timeline leaves the pointer null.
template <class Params>
void cloneTimeline(const Params& source, Params& target) {
    const Serialize::Cloner cloner;
    Serialize::ObjectStorage storage;
    const Serialize::ISerializable* from = source.timeline;
    Serialize::ISerializable* copy = cloner.cloneImpl(from, storage);
    target.timeline = dynamic_cast<Timeline::Object*>(copy);
    target.timelineStorage = std::move(storage);
}

}  // namespace

IntroParams IntroParams::clone() const {
    IntroParams result;
    result.primaryText = primaryText;
    result.secondaryText = secondaryText;
    cloneTimeline(*this, result);
    return result;
}

OverlayParams OverlayParams::clone() const {
    OverlayParams result;
    result.overlayType = overlayType;
    result.useMediaTiming = useMediaTiming;
    result.firstItemSpan = firstItemSpan;
    result.secondItemSpan = secondItemSpan;
    result.videoTiming = videoTiming;
    cloneTimeline(*this, result);
    return result;
}

}  // namespace Package
