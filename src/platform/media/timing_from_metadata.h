#pragma once

#include "platform/media/format_file.h"
#include "platform/model/resource.h"

namespace Core {

// The timing of a media resource: the first video stream's start and length, each taken from the
// container when the stream does not tell it (and for files without video), in milliseconds
// rounded to the nearest; the frame rate of that video stream times 1000, rounded, 0 when unknown
// or when there is no video.
Resource::Timing getTimingFromMetadata(const Media::FormatFile& format);

}  // namespace Core
