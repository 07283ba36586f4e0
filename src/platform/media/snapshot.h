#pragma once

#include <QtGlobal>

#include <string>

namespace Media {

// Still pictures of videos.
class Snapshot {
public:
    // Writes the frame of `sourcePath`'s first video stream (by stream index) that is on screen
    // `timeMs` milliseconds after the start of the file as an 8-bit PNG to `outputPath`: RGB, or
    // RGBA when the picture has alpha, of the picture's size in pixels (the sample aspect ratio is
    // not applied), turned as the stream's display matrix says. Before the first frame that is
    // the first frame, past the end the last. Paths are in the local 8-bit encoding.
    //
    // Throws Media::Error (a std::runtime_error whose file() is the source or the output):
    // "Can not extract video stream to make snapshot" when the source has no video stream, "Can
    // not decode video stream to make snapshot" when no decoder for it can be opened, and a
    // message naming the file for everything else (the source cannot be opened or names other
    // files, no frame decodes, the output cannot be written). A failure leaves no output file
    // behind and an existing one untouched.
    static void write(const std::string& sourcePath, qint64 timeMs, const std::string& outputPath);
};

}  // namespace Media
