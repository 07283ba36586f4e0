#pragma once

#include <QImage>

#include "platform/model/overlay_preset.h"

namespace Cli::Preview {

// When each item of a preset is on screen: one row per item, a bar from its begin to its end
// over the preset's duration, a tick at each of its keyframes, and a ruler of seconds.
class TimeStrip {
public:
    static QImage draw(const Overlay::Preset& preset, int width);
};

}  // namespace Cli::Preview
