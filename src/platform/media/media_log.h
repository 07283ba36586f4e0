#pragma once

#include <QString>

#include <functional>

namespace Media {

// The channel through which FFmpeg's own messages leave the library. FFmpeg prints to stderr by
// default, which a library must not do; every entry point of the media layer routes its log here
// before calling FFmpeg. Silent until a handler is set.
class Log {
public:
    // Receives FFmpeg's warnings and errors one line at a time, without the newline, control
    // characters shown as '?'. It may be called from FFmpeg's decoding threads; calls are
    // serialised, and the handler must not call into the media layer.
    using Handler = std::function<void(const QString& line)>;

    // Replaces the handler (an empty one silences the channel) and returns the previous one.
    static Handler setHandler(Handler handler);

    // Routes FFmpeg's log through this channel. Idempotent and thread-safe.
    static void install();
};

}  // namespace Media
