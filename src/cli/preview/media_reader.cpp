#include "cli/preview/media_reader.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/samplefmt.h>
}

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "platform/media/av_support.h"
#include "platform/media/media_log.h"

namespace Cli::Preview {
namespace {

using namespace Media::Av;

constexpr int kBufferBytes = 1 << 16;
// Packets read at most for one picture, and for a whole waveform: a damaged or hostile file
// cannot keep the sheet waiting.
constexpr int kPacketsPerFrame = 3000;
constexpr int kPacketsPerWaveform = 200000;

int readPacket(void* opaque, uint8_t* buffer, int size) {
    const qint64 read =
        static_cast<QIODevice*>(opaque)->read(reinterpret_cast<char*>(buffer), size);
    if (read < 0)
        return AVERROR(EIO);
    return read == 0 ? AVERROR_EOF : int(read);
}

int64_t seekDevice(void* opaque, int64_t offset, int whence) {
    auto* device = static_cast<QIODevice*>(opaque);
    whence &= ~AVSEEK_FORCE;
    if (whence == AVSEEK_SIZE)
        return device->size();
    const qint64 base = whence == SEEK_CUR   ? device->pos()
                        : whence == SEEK_END ? device->size()
                                             : 0;
    return device->seek(base + offset) ? base + offset : -1;
}

// The sheet reads one file: no format may open another.
int refuseOtherFiles(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EPERM);
}

struct FreeIo {
    void operator()(AVIOContext* io) const {
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
};

// A decoder for the stream. With `width`, a video decoder that can decode at a fraction of the
// picture's size (MPEG-1, -2 and -4 part 2, MJPEG) does so, down to no less than that width.
CodecContext openDecoder(AVStream* stream, int width = 0) {
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!codec)
        return nullptr;
    CodecContext context(avcodec_alloc_context3(codec));
    if (!context || avcodec_parameters_to_context(context.get(), stream->codecpar) < 0)
        return nullptr;
    int lowres = 0;
    while (width > 0 && lowres < codec->max_lowres &&
           (stream->codecpar->width >> (lowres + 1)) >= width)
        ++lowres;
    context->lowres = lowres;
    if (avcodec_open2(context.get(), codec, nullptr) < 0)
        return nullptr;
    return context;
}

int64_t toMs(int64_t pts, AVRational base) {
    return pts == AV_NOPTS_VALUE ? AV_NOPTS_VALUE : av_rescale_q(pts, base, AVRational{1, 1000});
}

// The loudest of the samples [from, to) of a decoded audio frame, from 0 to 1.
float peakOf(const AVFrame& frame, int from, int to) {
    const auto format = AVSampleFormat(frame.format);
    const bool planar = av_sample_fmt_is_planar(format);
    const int channels = std::max(1, frame.ch_layout.nb_channels);
    const int planes = planar ? channels : 1;
    const int step = planar ? 1 : channels;  // values per sample in one plane
    float peak = 0.0f;
    for (int p = 0; p < planes && p < AV_NUM_DATA_POINTERS; ++p) {
        const uint8_t* data = frame.extended_data[p];
        for (int i = from * step; i < to * step; ++i) {
            float value = 0.0f;
            switch (av_get_packed_sample_fmt(format)) {
                case AV_SAMPLE_FMT_U8:
                    value = (data[i] - 128) / 128.0f;
                    break;
                case AV_SAMPLE_FMT_S16:
                    value = reinterpret_cast<const int16_t*>(data)[i] / 32768.0f;
                    break;
                case AV_SAMPLE_FMT_S32:
                    value = reinterpret_cast<const int32_t*>(data)[i] / 2147483648.0f;
                    break;
                case AV_SAMPLE_FMT_FLT:
                    value = reinterpret_cast<const float*>(data)[i];
                    break;
                case AV_SAMPLE_FMT_DBL:
                    value = float(reinterpret_cast<const double*>(data)[i]);
                    break;
                default:
                    return 0.0f;
            }
            peak = std::max(peak, std::fabs(value));
        }
    }
    return std::min(peak, 1.0f);
}

}  // namespace

struct MediaReader::Impl {
    std::unique_ptr<AVIOContext, FreeIo> io;
    Media::Av::FormatContext format;
    int video = -1;
    int audio = -1;
    Media::Av::CodecContext videoDecoder;
};

MediaReader::MediaReader(QIODevice& device, const QString& name) : m(std::make_unique<Impl>()) {
    Media::Log::install();
    auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferBytes));
    m->io.reset(
        avio_alloc_context(buffer, kBufferBytes, 0, &device, readPacket, nullptr, seekDevice));
    if (!m->io) {
        av_free(buffer);
        throw std::runtime_error(name.toStdString() + ": out of memory");
    }
    AVFormatContext* context = avformat_alloc_context();
    context->pb = m->io.get();
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    context->io_open = refuseOtherFiles;
    int result = avformat_open_input(&context, nullptr, nullptr, nullptr);
    if (result < 0)
        throw std::runtime_error(QStringLiteral("%1: not readable media: %2")
                                     .arg(name, QString::fromStdString(errorText(result)))
                                     .toStdString());
    m->format.reset(context);
    result = avformat_find_stream_info(context, nullptr);
    if (result < 0)
        throw std::runtime_error(QStringLiteral("%1: no stream information: %2")
                                     .arg(name, QString::fromStdString(errorText(result)))
                                     .toStdString());
    m->video = av_find_best_stream(context, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    m->audio = av_find_best_stream(context, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (m->video >= 0) {
        const AVCodecParameters* parameters = context->streams[m->video]->codecpar;
        m_info.videoSize = QSize(parameters->width, parameters->height);
    }
    m_info.hasAudio = m->audio >= 0;
    if (context->duration != AV_NOPTS_VALUE && context->duration > 0)
        m_info.durationMs = context->duration / 1000;
}

MediaReader::~MediaReader() = default;

QImage MediaReader::frameAt(qint64 timeMs, int width) {
    if (m->video < 0 || width <= 0)
        return QImage();
    AVFormatContext* format = m->format.get();
    AVStream* stream = format->streams[m->video];
    if (!m->videoDecoder)
        m->videoDecoder = openDecoder(stream, width);
    AVCodecContext* decoder = m->videoDecoder.get();
    if (!decoder)
        return QImage();
    // The key frame at or before the time: a thumbnail needs no exact frame, and decoding from
    // the key frame to an exact one would cost up to a whole group of full-size pictures.
    const int64_t target = av_rescale_q(timeMs, AVRational{1, 1000}, stream->time_base);
    const int64_t start = stream->start_time == AV_NOPTS_VALUE ? 0 : stream->start_time;
    av_seek_frame(format, m->video, start + target, AVSEEK_FLAG_BACKWARD);
    avcodec_flush_buffers(decoder);

    Frame best(av_frame_alloc());
    Packet packet(av_packet_alloc());
    bool haveBest = false;
    bool draining = false;
    for (int packets = 0; !haveBest && packets < kPacketsPerFrame;) {
        if (!draining) {
            const int read = av_read_frame(format, packet.get());
            if (read < 0) {
                draining = true;
                avcodec_send_packet(decoder, nullptr);
            } else {
                ++packets;
                if (packet->stream_index == m->video)
                    avcodec_send_packet(decoder, packet.get());
                av_packet_unref(packet.get());
            }
        }
        const int got = avcodec_receive_frame(decoder, best.get());
        if (got >= 0)
            haveBest = true;
        else if (got == AVERROR_EOF || (draining && got != AVERROR(EAGAIN)))
            break;
    }
    if (!haveBest || best->width <= 0 || best->height <= 0)
        return QImage();
    const int height = std::max(1, int(std::lround(double(best->height) * width / best->width)));
    Scaler scaler(sws_getContext(best->width, best->height, AVPixelFormat(best->format), width,
                                 height, AV_PIX_FMT_RGB32, SWS_AREA, nullptr, nullptr, nullptr));
    if (!scaler)
        return QImage();
    QImage image(width, height, QImage::Format_RGB32);
    uint8_t* planes[4] = {image.bits(), nullptr, nullptr, nullptr};
    int strides[4] = {int(image.bytesPerLine()), 0, 0, 0};
    sws_scale(scaler.get(), best->data, best->linesize, 0, best->height, planes, strides);
    return image;
}

std::vector<float> MediaReader::waveform(int buckets) {
    if (m->audio < 0 || buckets <= 0)
        return {};
    AVFormatContext* format = m->format.get();
    AVStream* stream = format->streams[m->audio];
    CodecContext decoder = openDecoder(stream);
    if (!decoder)
        return {};
    avformat_seek_file(format, -1, INT64_MIN, 0, 0, 0);
    avcodec_flush_buffers(decoder.get());
    const qint64 length = std::max<qint64>(1, m_info.durationMs);
    std::vector<float> peaks(size_t(buckets), 0.0f);
    Frame frame(av_frame_alloc());
    Packet packet(av_packet_alloc());
    const int64_t start = stream->start_time == AV_NOPTS_VALUE ? 0 : stream->start_time;
    int64_t nextMs = 0;  // for frames without a time
    for (int packets = 0; packets < kPacketsPerWaveform; ++packets) {
        const int read = av_read_frame(format, packet.get());
        if (read < 0)
            avcodec_send_packet(decoder.get(), nullptr);
        else if (packet->stream_index == m->audio)
            avcodec_send_packet(decoder.get(), packet.get());
        if (read >= 0)
            av_packet_unref(packet.get());
        while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0) {
            int64_t ms = toMs(frame->best_effort_timestamp, stream->time_base);
            ms = ms == AV_NOPTS_VALUE ? nextMs : ms - toMs(start, stream->time_base);
            if (frame->sample_rate > 0)
                nextMs = ms + qint64(frame->nb_samples) * 1000 / frame->sample_rate;
            // A frame can span several stretches: each gets the peak of its own samples.
            const int rate = std::max(1, frame->sample_rate);
            for (int from = 0; from < frame->nb_samples;) {
                const qint64 at = ms + qint64(from) * 1000 / rate;
                const qint64 bucket = std::clamp<qint64>(at * buckets / length, 0, buckets - 1);
                // The first sample of the next stretch.
                const qint64 nextMs = ((bucket + 1) * length + buckets - 1) / buckets;
                const int to = int(
                    std::clamp<qint64>((nextMs - ms) * rate / 1000, from + 1, frame->nb_samples));
                peaks[size_t(bucket)] = std::max(peaks[size_t(bucket)], peakOf(*frame, from, to));
                from = to;
            }
            av_frame_unref(frame.get());
        }
        if (read < 0)
            break;
    }
    return peaks;
}

}  // namespace Cli::Preview
