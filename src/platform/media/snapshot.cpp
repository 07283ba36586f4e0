#include "platform/media/snapshot.h"

#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <stdexcept>

extern "C" {
#include <libavutil/display.h>
}

#include "platform/fs/atomic_file.h"
#include "platform/media/core_parser.h"
#include "platform/media/frame_finder.h"
#include "platform/media/media_error.h"
#include "platform/media/stream_reader_impl.h"

namespace Media {
namespace {

// Fast deflate with a cheap row filter: the caller waits for the snapshot, and the default level
// takes two to three times as long for files at most a sixth smaller.
constexpr int kPngCompression = 1;
constexpr const char* kPngPrediction = "up";

// Far beyond any media, and small enough that microseconds on a file's clock cannot overflow.
constexpr qint64 kMaxTimeMs = qint64(1) << 40;

[[noreturn]] void fail(const std::string& what, const QString& path, const std::string& why = {}) {
    throw Error(what + " '" + path.toStdString() + "'" + (why.empty() ? std::string() : ": " + why),
                path);
}

int firstVideoStream(const AVFormatContext* format) {
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        if (format->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
            return int(i);
    }
    return -1;
}

Av::CodecContext openDecoder(const AVStream* stream) {
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!codec)
        return {};
    Av::CodecContext decoder(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), stream->codecpar) < 0)
        return {};
    decoder->pkt_timebase = stream->time_base;
    decoder->thread_count = 0;  // one per core
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0)
        return {};
    return decoder;
}

// The "J" formats are full-range aliases that the scaler wants spelt as the plain format.
AVPixelFormat plainFormat(AVPixelFormat format, bool* fullRange) {
    switch (format) {
        case AV_PIX_FMT_YUVJ420P:
            *fullRange = true;
            return AV_PIX_FMT_YUV420P;
        case AV_PIX_FMT_YUVJ422P:
            *fullRange = true;
            return AV_PIX_FMT_YUV422P;
        case AV_PIX_FMT_YUVJ444P:
            *fullRange = true;
            return AV_PIX_FMT_YUV444P;
        case AV_PIX_FMT_YUVJ440P:
            *fullRange = true;
            return AV_PIX_FMT_YUV440P;
        case AV_PIX_FMT_YUVJ411P:
            *fullRange = true;
            return AV_PIX_FMT_YUV411P;
        default:
            return format;
    }
}

Av::Frame newPicture(AVPixelFormat format, int width, int height) {
    Av::Frame picture(av_frame_alloc());
    if (!picture)
        throw std::bad_alloc();
    picture->format = format;
    picture->width = width;
    picture->height = height;
    if (av_frame_get_buffer(picture.get(), 0) < 0)
        throw std::bad_alloc();
    return picture;
}

bool hasAlpha(AVPixelFormat format) {
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    return descriptor && (descriptor->flags & AV_PIX_FMT_FLAG_ALPHA);
}

// 8-bit RGB, with alpha when the picture has it (RGBA); null when the scaler does not take the
// picture's format.
Av::Frame toRgb(const AVFrame& picture) {
    bool fullRange = picture.color_range == AVCOL_RANGE_JPEG;
    const AVPixelFormat source = plainFormat(AVPixelFormat(picture.format), &fullRange);
    const AVPixelFormat target = hasAlpha(source) ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
    Av::Scaler scaler(sws_getContext(picture.width, picture.height, source, picture.width,
                                     picture.height, target, SWS_BICUBIC, nullptr, nullptr,
                                     nullptr));
    if (!scaler)
        return {};
    // The picture's own matrix (BT.601 when it does not say), as players convert it.
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(picture.colorspace), fullRange,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);

    Av::Frame rgb = newPicture(target, picture.width, picture.height);
    sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height, rgb->data,
              rgb->linesize);
    return rgb;
}

const int32_t* displayMatrix(const AVStream& stream) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 29, 100)
    const AVPacketSideData* data =
        av_packet_side_data_get(stream.codecpar->coded_side_data,
                                stream.codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
    if (data && data->size >= 9 * sizeof(int32_t))
        return reinterpret_cast<const int32_t*>(data->data);
#else
    size_t size = 0;
    const uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (data && size >= 9 * sizeof(int32_t))
        return reinterpret_cast<const int32_t*>(data);
#endif
    return nullptr;
}

// Clockwise quarter turns that the stream's display matrix asks for, read as the ffmpeg command
// reads it (rounded to a degree, within one degree of a quarter). Other angles are not applied.
int quarterTurns(const AVStream& stream) {
    const int32_t* matrix = displayMatrix(stream);
    if (!matrix)
        return 0;
    double clockwise = -std::round(av_display_rotation_get(matrix));
    if (std::isnan(clockwise))
        return 0;
    clockwise -= 360 * std::floor(clockwise / 360 + 0.9 / 360);
    for (int turns = 1; turns < 4; ++turns) {
        if (std::fabs(clockwise - 90 * turns) < 1.0)
            return turns;
    }
    return 0;
}

// A packed picture turned clockwise by quarter turns.
Av::Frame turned(const AVFrame& picture, int turns) {
    const int width = picture.width;
    const int height = picture.height;
    const bool sideways = turns % 2 == 1;
    Av::Frame result = newPicture(AVPixelFormat(picture.format), sideways ? height : width,
                                  sideways ? width : height);
    const int bytes =
        av_get_padded_bits_per_pixel(av_pix_fmt_desc_get(AVPixelFormat(picture.format))) / 8;
    for (int y = 0; y < result->height; ++y) {
        uint8_t* row = result->data[0] + ptrdiff_t(y) * result->linesize[0];
        for (int x = 0; x < result->width; ++x) {
            const int sourceX = turns == 1 ? y : turns == 2 ? width - 1 - x : width - 1 - y;
            const int sourceY = turns == 1 ? height - 1 - x : turns == 2 ? height - 1 - y : x;
            std::memcpy(row + ptrdiff_t(x) * bytes,
                        picture.data[0] + ptrdiff_t(sourceY) * picture.linesize[0] +
                            ptrdiff_t(sourceX) * bytes,
                        bytes);
        }
    }
    return result;
}

// The PNG file's bytes; throws naming `outputPath`.
Av::Packet encodePng(const AVFrame& rgb, const QString& outputPath) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    if (!codec)
        fail("Can not write snapshot", outputPath, "this FFmpeg has no PNG encoder");
    Av::CodecContext encoder(avcodec_alloc_context3(codec));
    Av::Packet packet(av_packet_alloc());
    if (!encoder || !packet)
        throw std::bad_alloc();
    encoder->width = rgb.width;
    encoder->height = rgb.height;
    encoder->pix_fmt = AVPixelFormat(rgb.format);
    encoder->time_base = {1, 1};
    encoder->compression_level = kPngCompression;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "pred", kPngPrediction, 0);
    int code = avcodec_open2(encoder.get(), codec, &options);
    av_dict_free(&options);
    if (code >= 0)
        code = avcodec_send_frame(encoder.get(), &rgb);
    if (code >= 0)
        code = avcodec_receive_packet(encoder.get(), packet.get());
    if (code < 0)
        fail("Can not encode snapshot", outputPath, Av::errorText(code));
    return packet;
}

}  // namespace

void Snapshot::write(const std::string& sourcePath, qint64 timeMs, const std::string& outputPath) {
    const QString source = QFile::decodeName(QByteArray::fromStdString(sourcePath));
    const QString output = QFile::decodeName(QByteArray::fromStdString(outputPath));

    const boost::intrusive_ptr<StreamReader> reader = CoreParser::openSource(source);
    AVFormatContext* format = reader->impl_->context.get();
    const int streamIndex = firstVideoStream(format);
    if (streamIndex < 0)
        throw Error("Can not extract video stream to make snapshot", source);
    const Av::CodecContext decoder = openDecoder(format->streams[streamIndex]);
    if (!decoder)
        throw Error("Can not decode video stream to make snapshot", source);

    // Opened before decoding, so that a bad output path fails at once.
    FS::AtomicFile file(output, QStringLiteral("snapshot"));

    const qint64 clamped = std::clamp(timeMs, -kMaxTimeMs, kMaxTimeMs);
    const Av::Frame picture =
        FrameFinder(format, streamIndex, decoder.get()).find(int64_t(clamped) * 1000);
    if (!picture)
        fail("No video frame could be decoded from", source);
    Av::Frame rgb = toRgb(*picture);
    if (!rgb) {
        const char* name = av_get_pix_fmt_name(AVPixelFormat(picture->format));
        fail("Can not convert the video picture to RGB from", source,
             std::string("pixel format ") + (name ? name : "unknown"));
    }
    // As players show it, and as the ffmpeg command writes it.
    if (const int turns = quarterTurns(*format->streams[streamIndex]))
        rgb = turned(*rgb, turns);
    const Av::Packet png = encodePng(*rgb, output);

    file.append(reinterpret_cast<const char*>(png->data), png->size);
    file.commit();
}

}  // namespace Media
