#pragma once

#include <QImage>
#include <QString>
#include <functional>

#include "platform/model/overlay_preset.h"

namespace Cli::Preview {

// A title, callout or sticker drawn on its 1280 x 720 scene: every item's box where its
// transform puts it. Text, image and shape items place the unit square in the scene's unit
// square; a video item places its still's pixels in scene pixels, and shows that still.
class OverlayScene {
public:
    static constexpr double kSceneWidth = 1280.0;
    static constexpr double kSceneHeight = 720.0;

    // The still of a video item (by its resource reference), null when there is none.
    using StillLookup = std::function<QImage(const QString& resource)>;

    // The scene drawn `width` pixels wide.
    static QImage draw(const Overlay::Preset& preset, const StillLookup& still, int width);
};

}  // namespace Cli::Preview
