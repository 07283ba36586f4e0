#include "platform/media/timing_from_metadata.h"

#include <algorithm>
#include <cstdint>

namespace Core {
namespace {

qint64 milliseconds(const std::optional<qint64>& microseconds) {
    if (!microseconds)
        return 0;
    const qint64 us = *microseconds;
    // Half a millisecond rounds away from zero, on both sides of zero.
    return us >= 0 ? (us + 500) / 1000 : -((-us + 500) / 1000);
}

}  // namespace

Resource::Timing getTimingFromMetadata(const Media::FormatFile& format) {
    const Media::StreamInfo* video = format.firstVideoStream();
    const auto pick = [&](std::optional<qint64> Media::StreamInfo::*field,
                          const std::optional<qint64>& fallback) {
        return video && video->*field ? video->*field : fallback;
    };

    Resource::Timing timing;
    timing.start = milliseconds(pick(&Media::StreamInfo::startUs, format.startUs));
    timing.length = milliseconds(pick(&Media::StreamInfo::durationUs, format.durationUs));
    if (video && video->frameRate.isValid()) {
        const qint64 num = video->frameRate.num;
        const qint64 den = video->frameRate.den;
        timing.frameRate = qint32(std::min<qint64>((num * 1000 + den / 2) / den, INT32_MAX));
    }
    return timing;
}

}  // namespace Core
