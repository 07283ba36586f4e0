#pragma once

// Private to the media library.

#include "platform/media/av_support.h"
#include "platform/media/stream_reader.h"

namespace Media {

struct StreamReader::Impl {
    Av::FormatContext context;  // opened, with its stream information read
};

}  // namespace Media
