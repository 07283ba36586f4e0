#pragma once

#include <QImage>
#include <functional>

#include "platform/model/timeline_object.h"

namespace Cli::Preview {

// An intro's timeline as a strip: one row per track, each clip a box from its position over its
// length, showing a thumbnail of its media (or the name of its overlay).
class IntroStrip {
public:
    static constexpr int kThumbnailWidth = 96;
    static constexpr int kRowHeight = 40;
    static constexpr int kMaxRows = 8;

    // `thumbnail` gives a clip's picture, null when it has none.
    using Thumbnail = std::function<QImage(const Timeline::Clip&)>;

    static QImage draw(const Timeline::Object& timeline, const Thumbnail& thumbnail, int width);
};

}  // namespace Cli::Preview
