#pragma once

#include <QIODevice>
#include <QImage>
#include <QSize>
#include <QString>
#include <memory>
#include <vector>

namespace Cli::Preview {

// What a media file holds, as far as a card shows it.
struct MediaInfo {
    qint64 durationMs = -1;  // -1 when the file does not tell
    QSize videoSize;         // empty without video
    bool hasAudio = false;
};

// Takes pictures and a waveform out of a media file read from a device (a file unpacked from a
// package, or an entry read in place from its archive). The decoder reads nothing else: a format
// that names other files (a playlist, a concatenation list) gets no access to them. Pictures are
// scaled to the width they are shown at as soon as they are decoded.
class MediaReader {
public:
    // Opens the media on `device`, which must stay open for the reader's life. Messages name the
    // file as `name`. Throws std::runtime_error naming it when FFmpeg cannot open it.
    MediaReader(QIODevice& device, const QString& name);
    ~MediaReader();
    MediaReader(const MediaReader&) = delete;
    MediaReader& operator=(const MediaReader&) = delete;

    const MediaInfo& info() const { return m_info; }

    // The key frame at or before `timeMs` (the first frame before the start), scaled to `width`
    // pixels wide as it is decoded (at a fraction of its size, where the codec can). Null when
    // there is no video or nothing decodes.
    QImage frameAt(qint64 timeMs, int width);

    // The loudest sample of each of `buckets` equal stretches of the file, from 0 to 1, read
    // from the start; empty without audio.
    std::vector<float> waveform(int buckets);

private:
    struct Impl;
    std::unique_ptr<Impl> m;
    MediaInfo m_info;
};

}  // namespace Cli::Preview
