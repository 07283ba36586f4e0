#pragma once

#include <boost/intrusive_ptr.hpp>

#include <QString>

#include "platform/media/stream_reader.h"

// Where media files are opened.
class CoreParser {
public:
    // Opens a local media file and reads its stream information. Only the file itself is read:
    // the path is never taken for a URL or another protocol, it must be a regular file, and
    // formats that name other files (playlists, concatenation lists, manifests, image sequences)
    // are refused. Throws Media::Error (a std::runtime_error) naming the path and the reason.
    static boost::intrusive_ptr<Media::StreamReader> openSource(const QString& path);
};
