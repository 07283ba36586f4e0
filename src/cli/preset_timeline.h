#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

#include "platform/model/collection_add_on.h"
#include "platform/model/overlay_preset.h"

namespace Cli {

// The timeline file, and the overlay fields of a recipe component, that build a finished overlay
// preset again: the inverse of flattening a timeline into one preset.
//
// Each item becomes a clip of its own, on a track of its own in the items' order, at the place
// and length its begin and end give of the preset's duration; the scene is the 1280 x 720
// reference scene in which video items are placed. A video item is a video clip of its media
// with a picture-in-picture matrix that places it where it was and its envelope as the clip's
// keyframes; any other item is an overlay clip whose one item keeps its transform and envelope.
// The spans are the fade fractions times the clip's length.
//
// Exact where the preset is one that a timeline gives; what is not is kept as nearly as the
// timeline can hold it and named in `approximations` (see docs/extractor.md). What cannot be
// carried at all (a video item whose media the package lacks) is left out and named in `dropped`.
struct PresetTimeline {
    QJsonObject timeline;
    QString overlayType;  // "title", "callout" or "sticker"
    qint64 firstItemSpan = 0;
    qint64 secondItemSpan = 0;
    // The timing that every video resource shares; none when they differ (the rebuild then reads
    // each video's own).
    std::optional<::Resource::Timing> videoTiming;
    QStringList approximations;
    QStringList dropped;

    // `mediaFile` gives the timeline's path of a resource file of the add-on (relative to the
    // timeline file's folder), or an empty text when the package lacks it.
    static PresetTimeline read(const Overlay::Preset& preset, const Package::CollectionAddOn& addOn,
                               const std::function<QString(const Package::Resource&)>& mediaFile);
};

}  // namespace Cli
