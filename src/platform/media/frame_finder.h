#pragma once

// Private to the media library.

#include "platform/media/av_support.h"

namespace Media {

// Decodes the frame of one video stream that is on screen at a given time: the last frame whose
// presentation time is at or before it, or the first frame when the time is before the stream
// begins, or the last when it is past the end. Only frame times are trusted, never a stated
// duration: the answer is known when a frame past the time comes out. It seeks to the key frame
// at or before the time and decodes forward, holding two frames besides the decoder's own; frames
// that can neither be the answer nor be referenced by it are not decoded at all. Streams that
// cannot seek (raw streams, whose times only decoding from the start gives) are decoded from the
// start; a cover picture is the picture at every time.
class FrameFinder {
public:
    // `decoder` is open for `streamIndex` of `format`; neither is owned.
    FrameFinder(AVFormatContext* format, int streamIndex, AVCodecContext* decoder);

    // `time` is in microseconds from the start of the file. Null when no frame could be decoded.
    Av::Frame find(int64_t timeUs);

private:
    struct Pass {
        Av::Frame best;
        // After a seek, the presentation time of the key frame decoding started from. Frames that
        // show before it (an open GOP's leading pictures) refer to frames before the seek point
        // and come out damaged, so they are not taken.
        int64_t keyTime = AV_NOPTS_VALUE;
        int64_t bestTime = AV_NOPTS_VALUE;
        int64_t earliestTime = AV_NOPTS_VALUE;
        int64_t nextTime = AV_NOPTS_VALUE;  // where the last frame's duration ends
        // Decoding began at the start of the stream: a first frame without a time shows there.
        bool fromStart = false;
        bool anyFrame = false;
    };

    bool seek(int64_t position);
    bool seekToStart();
    bool rewind();
    Av::Frame decodeCoverPicture();
    int64_t lastTime() const;
    bool isLate(const Pass& pass, int64_t target) const;
    Pass decodeUpTo(int64_t target, bool afterSeek);
    bool decideOn(Pass& pass, Av::Frame& frame, int64_t target) const;

    AVFormatContext* format_;
    AVStream* stream_;
    AVCodecContext* decoder_;
    int64_t framePeriod_ = 0;  // one frame at the stream's rate, in its time base; 0 if unknown
};

}  // namespace Media
