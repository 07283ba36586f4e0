#include "platform/media/stream_reader.h"

#include "platform/media/stream_reader_impl.h"

namespace Media {
namespace {

std::optional<qint64> microseconds(int64_t value, AVRational timeBase) {
    if (value == AV_NOPTS_VALUE)
        return std::nullopt;
    return av_rescale_q(value, timeBase, AV_TIME_BASE_Q);
}

StreamType typeOf(AVMediaType type) {
    switch (type) {
        case AVMEDIA_TYPE_VIDEO:
            return VideoStream;
        case AVMEDIA_TYPE_AUDIO:
            return AudioStream;
        default:
            return OtherStream;
    }
}

Rational frameRateOf(const AVStream* stream) {
    // The average rate is what a variable-rate file plays at; the base rate is the finest tick
    // and only a fallback for files that do not tell their average.
    for (const AVRational rate : {stream->avg_frame_rate, stream->r_frame_rate}) {
        if (rate.num > 0 && rate.den > 0)
            return {rate.num, rate.den};
    }
    return {};
}

StreamInfo describe(const AVStream* stream) {
    const AVCodecParameters* codec = stream->codecpar;
    StreamInfo info;
    info.index = stream->index;
    info.type = typeOf(codec->codec_type);
    info.codecName = QString::fromLatin1(avcodec_get_name(codec->codec_id));
    if (info.type == VideoStream) {
        info.width = codec->width;
        info.height = codec->height;
        info.frameRate = frameRateOf(stream);
    }
    info.startUs = microseconds(stream->start_time, stream->time_base);
    info.durationUs = microseconds(stream->duration, stream->time_base);
    return info;
}

}  // namespace

StreamReader::StreamReader(const QString& path, std::unique_ptr<Impl> impl)
    : path_(path), impl_(std::move(impl)) {
    const AVFormatContext* context = impl_->context.get();
    format_.formatName = QString::fromLatin1(context->iformat->name);
    format_.startUs = microseconds(context->start_time, AV_TIME_BASE_Q);
    format_.durationUs = microseconds(context->duration, AV_TIME_BASE_Q);
    format_.streams.reserve(context->nb_streams);
    for (unsigned i = 0; i < context->nb_streams; ++i)
        format_.streams.push_back(describe(context->streams[i]));
}

StreamReader::~StreamReader() = default;

}  // namespace Media
