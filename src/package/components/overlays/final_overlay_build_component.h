#pragma once

#include "package/abstract_build_component.h"
#include "package/build_params.h"
#include "platform/model/collection_add_on.h"
#include "platform/model/overlay_preset.h"
#include "platform/model/timeline_object.h"

namespace Package {

// Builds a finished overlay (a title, callout or sticker) from a timeline: every overlay clip's
// items, and every video clip as a video item with its media and a still, flattened into one
// Overlay::Preset stored in the folder named by the collection id.
//
// Owns a clone of the params (and so of the timeline). build() throws FS::Error when the disk
// fails; the fixups that render the stills throw Media::Error for a video that cannot be decoded.
class FinalOverlayBuildComponent : public AbstractBuildComponent {
public:
    // Keeps a clone of the params (so winSubfolder is always false here).
    explicit FinalOverlayBuildComponent(const OverlayParams& params);

    ResourceFixupQueue build(Package::Object* package) override;

    // The preset kind of an overlay type: 0 -> 1, 1 -> 2, 2 -> 3, anything else 0.
    static qint32 presetKind(qint32 overlayType);

protected:
    // The steps of build(), open to subclasses so that each can be driven (and measured) alone.
    // A copy of the params' timeline without the clips of its primary track.
    Timeline::Object prepareTimeline() const;
    // Adds a video item, the video and its still for every video clip; the only source of fixups.
    void mergeExtraVideo(const Timeline::Object* timeline, Overlay::Preset* preset,
                         CollectionAddOn& addOn, ResourceFixupQueue& fixups) const;
    // Adds the items of every overlay clip, timed as fractions of the preset's duration, with the
    // clip's keyframes cut to its visible part.
    void mergeOverlays(const Timeline::Object* timeline, Overlay::Preset* preset) const;

private:
    OverlayParams m_params;
};

}  // namespace Package
