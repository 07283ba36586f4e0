#pragma once

#include <boost/intrusive_ptr.hpp>

#include <QString>

#include "platform/media/stream_reader.h"

// Where media files are opened.
class CoreParser {
public:
    // Opens a local media file and reads its stream information. Only the file itself is read:
    // the path is never taken for a URL or another protocol. Throws std::runtime_error naming the
    // path and FFmpeg's reason when the file cannot be opened or is not media FFmpeg knows.
    static boost::intrusive_ptr<Media::StreamReader> openSource(const QString& path);
};
