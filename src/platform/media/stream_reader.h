#pragma once

#include <boost/smart_ptr/intrusive_ref_counter.hpp>

#include <QString>

#include <memory>
#include <vector>

#include "platform/media/format_file.h"

class CoreParser;

namespace Media {

// An open media file: its demuxer, and the description read from it when it was opened.
// Made by CoreParser::openSource and shared through boost::intrusive_ptr; it owns the demuxer,
// which only the media library's own sources see (the FFmpeg types stay out of this header).
// Throws nothing once made.
class StreamReader : public boost::intrusive_ref_counter<StreamReader> {
public:
    ~StreamReader();
    StreamReader(const StreamReader&) = delete;
    StreamReader& operator=(const StreamReader&) = delete;

    const QString& path() const { return path_; }
    const FormatFile& formatFile() const { return format_; }
    const std::vector<StreamInfo>& streams() const { return format_.streams; }

private:
    friend class ::CoreParser;
    friend class Snapshot;
    struct Impl;  // stream_reader_impl.h

    StreamReader(const QString& path, std::unique_ptr<Impl> impl);

    QString path_;
    std::unique_ptr<Impl> impl_;
    FormatFile format_;
};

}  // namespace Media
