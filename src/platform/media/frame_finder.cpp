#include "platform/media/frame_finder.h"

#include <algorithm>
#include <new>

namespace Media {
namespace {

int64_t durationOf(const AVFrame& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
    return frame.duration;
#else
    return frame.pkt_duration;
#endif
}

void keep(Av::Frame& best, Av::Frame& frame) {
    if (!best && !(best = Av::Frame(av_frame_alloc())))
        throw std::bad_alloc();
    av_frame_unref(best.get());
    av_frame_move_ref(best.get(), frame.get());
}

}  // namespace

FrameFinder::FrameFinder(AVFormatContext* format, int streamIndex, AVCodecContext* decoder)
    : format_(format), stream_(format->streams[streamIndex]), decoder_(decoder) {
    for (const AVRational rate : {stream_->avg_frame_rate, stream_->r_frame_rate}) {
        if (rate.num > 0 && rate.den > 0) {
            framePeriod_ = av_rescale_q(1, av_inv_q(rate), stream_->time_base);
            break;
        }
    }
    // The demuxer then skips the other streams' data instead of handing it over.
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
        if (int(i) != streamIndex)
            format_->streams[i]->discard = AVDISCARD_ALL;
    }
}

Av::Frame FrameFinder::find(int64_t timeUs) {
    // A time counts from the start of the file, as a player's position does.
    const int64_t fileStart = format_->start_time == AV_NOPTS_VALUE ? 0 : format_->start_time;
    // Rounded down: a frame is on screen from its own time on, never before.
    const int64_t target =
        av_rescale_q_rnd(timeUs + fileStart, AV_TIME_BASE_Q, stream_->time_base, AV_ROUND_DOWN);

    if (stream_->disposition & AV_DISPOSITION_ATTACHED_PIC)
        return decodeCoverPicture();
    // Raw streams have no times of their own: the demuxer counts them from where it starts, so a
    // seek lands at a guessed time. Freshly opened, they are at the start already.
    if (format_->iformat->flags & AVFMT_NOTIMESTAMPS)
        return std::move(decodeUpTo(target, false).best);

    int64_t position = std::min(target, lastTime());
    bool sought = seek(position);
    // A failed seek may leave the demuxer anywhere; from the start, decoding is slower, not wrong.
    if (!sought && !rewind())
        return {};
    Pass pass = decodeUpTo(target, sought);

    // The key frame found can show later than the target: demuxers index key frames by decode
    // time, which comes before presentation, and some seek to any packet, from where the next key
    // frame is the first that decodes. Or nothing decoded from there at all. The answer then lies
    // before.
    const int64_t second = av_rescale_q(AV_TIME_BASE, AV_TIME_BASE_Q, stream_->time_base);
    const int64_t stepsBack[] = {second, 10 * second};
    for (int step = 0; sought && step < 3 && (!pass.best || isLate(pass, target)); ++step) {
        if (step < 2) {
            if (pass.best && pass.earliestTime != AV_NOPTS_VALUE)
                position = std::min(position, pass.earliestTime);
            sought = seek(position - stepsBack[step]);
        } else {
            sought = seekToStart();
        }
        if (sought) {
            Pass again = decodeUpTo(target, true);
            if (again.best &&
                (!pass.best || !isLate(again, target) || again.bestTime < pass.bestTime))
                pass = std::move(again);
        }
    }
    // Streams that flag no key frames decode only when nothing is skipped.
    if (!pass.best && rewind())
        pass = decodeUpTo(target, false);
    return std::move(pass.best);
}

// The picture is stored once, apart from the packets; it shows for the whole file.
Av::Frame FrameFinder::decodeCoverPicture() {
    Av::Packet packet(av_packet_clone(&stream_->attached_pic));
    Av::Frame frame(av_frame_alloc());
    if (!packet || !frame)
        throw std::bad_alloc();
    avcodec_send_packet(decoder_, packet.get());
    avcodec_send_packet(decoder_, nullptr);
    for (;;) {
        const int received = avcodec_receive_frame(decoder_, frame.get());
        if (received >= 0)
            return frame;
        if (received == AVERROR_EOF || received == AVERROR(EAGAIN))
            return {};
    }
}

// Just before the end of the stream (so that seeking there finds the last key frame), or as
// late as can be when the file does not tell its length.
int64_t FrameFinder::lastTime() const {
    const int64_t first = stream_->start_time == AV_NOPTS_VALUE ? 0 : stream_->start_time;
    if (stream_->duration != AV_NOPTS_VALUE && stream_->duration > 0)
        return first + stream_->duration - 1;
    if (format_->duration != AV_NOPTS_VALUE && format_->duration > 0) {
        const int64_t fileStart = format_->start_time == AV_NOPTS_VALUE ? 0 : format_->start_time;
        return av_rescale_q(fileStart + format_->duration, AV_TIME_BASE_Q, stream_->time_base) - 1;
    }
    return INT64_MAX;
}

bool FrameFinder::isLate(const Pass& pass, int64_t target) const {
    const int64_t first = stream_->start_time;
    return pass.best && pass.bestTime != AV_NOPTS_VALUE && pass.bestTime > target &&
           (first == AV_NOPTS_VALUE || pass.bestTime > first);
}

bool FrameFinder::seekToStart() {
    // Well before the first frame, so that its key frame's earlier decode time is covered too;
    // some demuxers refuse times before the start, and take the first frame's own.
    const int64_t first = stream_->start_time == AV_NOPTS_VALUE ? 0 : stream_->start_time;
    const int64_t hour =
        av_rescale_q(int64_t(3600) * AV_TIME_BASE, AV_TIME_BASE_Q, stream_->time_base);
    return seek(first - hour) || seek(first);
}

// Back to the first packet, by time or else by byte.
bool FrameFinder::rewind() {
    if (seekToStart())
        return true;
    if (av_seek_frame(format_, -1, 0, AVSEEK_FLAG_BYTE) < 0)
        return false;
    avcodec_flush_buffers(decoder_);
    return true;
}

bool FrameFinder::seek(int64_t position) {
    if (av_seek_frame(format_, stream_->index, position, AVSEEK_FLAG_BACKWARD) < 0)
        return false;
    avcodec_flush_buffers(decoder_);
    return true;
}

FrameFinder::Pass FrameFinder::decodeUpTo(int64_t target, bool afterSeek) {
    Pass pass;
    pass.fromStart = !afterSeek;
    Av::Packet packet(av_packet_alloc());
    Av::Frame frame(av_frame_alloc());
    if (!packet || !frame)
        throw std::bad_alloc();

    // The latest presentation time at or before the target among the packets sent: a frame
    // before it, or any frame after the target, can no longer be the answer.
    int64_t shownSent = AV_NOPTS_VALUE;
    // Some demuxers seek to any packet near the time, not to a key frame; what comes before the
    // next key frame cannot be decoded and is not worth handing over.
    bool awaitingKey = afterSeek;
    bool draining = false;
    for (;;) {
        // Everything the decoder has ready comes out before it takes more.
        for (;;) {
            const int received = avcodec_receive_frame(decoder_, frame.get());
            if (received == AVERROR(EAGAIN))
                break;
            if (received == AVERROR_EOF)
                return pass;
            // Any other error is one damaged frame; the decoder goes on with the next.
            if (received >= 0 && decideOn(pass, frame, target))
                return pass;
        }
        if (draining)
            return pass;

        const int read = av_read_frame(format_, packet.get());
        if (read == AVERROR(EAGAIN))
            continue;
        if (read >= 0 && (packet->stream_index != stream_->index ||
                          (awaitingKey && !(packet->flags & AV_PKT_FLAG_KEY)))) {
            av_packet_unref(packet.get());
            continue;
        }
        if (read < 0) {
            // The end: what the decoder still holds comes out.
            avcodec_send_packet(decoder_, nullptr);
            draining = true;
            continue;
        }
        if (awaitingKey)
            pass.keyTime = packet->pts;
        awaitingKey = false;

        const int64_t pts = packet->pts;
        const bool beaten = pts != AV_NOPTS_VALUE && shownSent != AV_NOPTS_VALUE &&
                            (pts < shownSent || pts > target);
        // Such a frame is still decoded when later frames refer to it; otherwise it is skipped.
        decoder_->skip_frame = beaten ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
        if (pts != AV_NOPTS_VALUE && pts <= target &&
            (shownSent == AV_NOPTS_VALUE || pts > shownSent))
            shownSent = pts;
        // A packet the decoder refuses is damaged data; the frames around it may still decode.
        avcodec_send_packet(decoder_, packet.get());
        av_packet_unref(packet.get());
    }
}

// Frames come out in presentation order. Returns true when no later frame can be the answer: a
// frame past the target is out, or one exactly at it. A frame's stated duration does not count:
// variable-rate files state one for the whole stream.
bool FrameFinder::decideOn(Pass& pass, Av::Frame& frame, int64_t target) const {
    const int64_t duration = durationOf(*frame);
    // Some streams leave a frame's time out (often the last one's); it follows the one before.
    int64_t time = frame->best_effort_timestamp != AV_NOPTS_VALUE ? frame->best_effort_timestamp
                                                                  : pass.nextTime;
    // Raw streams tell no times at all: frames follow each other at the stream's rate from its
    // start, as players and the ffmpeg command count them.
    if (time == AV_NOPTS_VALUE && pass.fromStart && !pass.anyFrame)
        time = stream_->start_time != AV_NOPTS_VALUE ? stream_->start_time : 0;
    pass.anyFrame = true;
    const int64_t step = duration > 0 ? duration : framePeriod_;
    pass.nextTime = time != AV_NOPTS_VALUE && step > 0 ? time + step : AV_NOPTS_VALUE;
    if (time == AV_NOPTS_VALUE) {
        // A frame without a time cannot be placed; it serves only while nothing better is known.
        if (!pass.best || pass.bestTime == AV_NOPTS_VALUE)
            keep(pass.best, frame);
        av_frame_unref(frame.get());
        return false;
    }
    if (pass.earliestTime == AV_NOPTS_VALUE || time < pass.earliestTime)
        pass.earliestTime = time;
    if (pass.keyTime != AV_NOPTS_VALUE && time < pass.keyTime) {
        av_frame_unref(frame.get());
        return false;
    }

    if (time > target) {
        // The first frame is the answer for a target before it; otherwise the one before wins.
        if (!pass.best || pass.bestTime == AV_NOPTS_VALUE) {
            keep(pass.best, frame);
            pass.bestTime = time;
        }
        av_frame_unref(frame.get());
        return true;
    }
    if (!pass.best || pass.bestTime == AV_NOPTS_VALUE || time >= pass.bestTime) {
        keep(pass.best, frame);
        pass.bestTime = time;
    }
    av_frame_unref(frame.get());
    return time == target;
}

}  // namespace Media
