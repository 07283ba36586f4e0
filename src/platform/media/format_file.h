#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>
#include <vector>

// What a media file holds, as its container and streams describe it. Times are in microseconds
// on the file's own clock (so a start may be non-zero, even negative); empty when the file does
// not say.
namespace Media {

enum StreamType : int {
    OtherStream = 0,  // subtitles, data, attachments
    VideoStream = 1,
    AudioStream = 2,
};

// An exact rate, as num/den; 0/0 when unknown.
struct Rational {
    int num = 0;
    int den = 0;

    bool isValid() const { return num > 0 && den > 0; }
    double value() const { return isValid() ? double(num) / den : 0.0; }
};

struct StreamInfo {
    int index = 0;  // the stream's index in the file
    StreamType type = OtherStream;
    QString codecName;  // e.g. "h264", "aac"; "none" when the codec is not known
    int width = 0;  // picture size in pixels, video only: the sample aspect ratio is not applied
    int height = 0;
    Rational frameRate;  // video: the average rate, else the base rate; unknown for other streams
    std::optional<qint64> startUs;
    std::optional<qint64> durationUs;
};

struct FormatFile {
    QString formatName;  // the demuxer's name, e.g. "mov,mp4,m4a,3gp,3g2,mj2"
    std::optional<qint64> startUs;
    std::optional<qint64> durationUs;
    std::vector<StreamInfo> streams;  // in index order

    // The first video stream, by index; null when there is none.
    const StreamInfo* firstVideoStream() const {
        for (const StreamInfo& stream : streams) {
            if (stream.type == VideoStream)
                return &stream;
        }
        return nullptr;
    }
};

}  // namespace Media
