#include "cli/checks/media_check.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

#include <QFile>
#include <QImageReader>
#include <exception>
#include <memory>

#include "cli/checks/playable_formats.h"
#include "platform/bundle/image_file.h"
#include "platform/media/av_support.h"
#include "platform/media/core_parser.h"

namespace Cli {
namespace {

// Packets read at most while looking for the first frame of the stream.
constexpr int kMaxPackets = 500;

using Media::Av::CloseInput;
using Media::Av::FreeCodec;
using Media::Av::FreeFrame;
using Media::Av::FreePacket;

QString avError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

const char* typeName(AVMediaType type) {
    return type == AVMEDIA_TYPE_VIDEO ? "video" : "audio";
}

// Whether the first frame of the stream decodes; the reason when it does not.
QString decodeFirstFrame(AVFormatContext* format, int index) {
    const AVStream* stream = format->streams[index];
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!codec)
        return QStringLiteral("no decoder for its codec '%1'")
            .arg(QString::fromUtf8(avcodec_get_name(stream->codecpar->codec_id)));
    std::unique_ptr<AVCodecContext, FreeCodec> context(avcodec_alloc_context3(codec));
    int result =
        context ? avcodec_parameters_to_context(context.get(), stream->codecpar) : AVERROR(ENOMEM);
    if (result >= 0)
        result = avcodec_open2(context.get(), codec, nullptr);
    if (result < 0)
        return QStringLiteral("cannot open its decoder: %1").arg(avError(result));
    std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    std::unique_ptr<AVFrame, FreeFrame> frame(av_frame_alloc());
    for (int read = 0; read < kMaxPackets; ++read) {
        result = av_read_frame(format, packet.get());
        if (result < 0)
            break;
        if (packet->stream_index == index)
            avcodec_send_packet(context.get(), packet.get());
        av_packet_unref(packet.get());
        if (avcodec_receive_frame(context.get(), frame.get()) >= 0)
            return QString();
    }
    avcodec_send_packet(context.get(), nullptr);  // drain what the decoder holds back
    if (avcodec_receive_frame(context.get(), frame.get()) >= 0)
        return QString();
    return result < 0 && result != AVERROR_EOF
               ? QStringLiteral("no frame decodes: %1").arg(avError(result))
               : QStringLiteral("no frame decodes");
}

void checkStream(const QString& path, AVMediaType type, const CheckPlace& place,
                 CheckReport& report) {
    const QString kind = QLatin1String(typeName(type));
    // The platform's opener refuses what is not a local regular file, and files that name others
    // (playlists, concatenation lists); it also routes FFmpeg's log through the library's channel.
    try {
        CoreParser::openSource(path);
    } catch (const std::exception& error) {
        report.add(place, Finding::Error,
                   QStringLiteral("not a media file with %1: %2")
                       .arg(kind, QString::fromUtf8(error.what())));
        return;
    }
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    AVFormatContext* raw = nullptr;
    int result = avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, &options);
    av_dict_free(&options);
    if (result < 0) {
        report.add(place, Finding::Error,
                   QStringLiteral("not a media file with %1: %2").arg(kind, avError(result)));
        return;
    }
    std::unique_ptr<AVFormatContext, CloseInput> format(raw);
    result = avformat_find_stream_info(format.get(), nullptr);
    if (result < 0) {
        report.add(place, Finding::Error,
                   QStringLiteral("cannot read its streams: %1").arg(avError(result)));
        return;
    }
    int index = -1;
    QStringList held;
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* stream = format->streams[i];
        const AVMediaType streamType = stream->codecpar->codec_type;
        // A cover picture is not video.
        const bool picture = stream->disposition & AV_DISPOSITION_ATTACHED_PIC;
        if (streamType == type && !picture && index < 0)
            index = int(i);
        if (streamType == AVMEDIA_TYPE_VIDEO || streamType == AVMEDIA_TYPE_AUDIO)
            held << QStringLiteral("%1%2").arg(
                QLatin1String(typeName(streamType)),
                picture ? QStringLiteral(" (a cover picture)") : QString());
    }
    if (index < 0) {
        report.add(place, Finding::Error,
                   QStringLiteral("has no %1 stream (it holds %2)")
                       .arg(kind, held.isEmpty() ? QStringLiteral("neither video nor audio")
                                                 : held.join(QStringLiteral(", "))));
        return;
    }
    const QString failure = decodeFirstFrame(format.get(), index);
    if (!failure.isEmpty()) {
        report.add(place, Finding::Error,
                   QStringLiteral("its %1 stream does not decode: %2").arg(kind, failure));
        return;
    }
    AVStream* stream = format->streams[index];
    // A cut-off file whose index (an MP4's) names samples past its end: its first frames still
    // decode, but it stops early.
    const int entries = avformat_index_get_entries_count(stream);
    const int64_t fileSize = avio_size(format->pb);
    if (entries > 0 && fileSize > 0) {
        const AVIndexEntry* last = avformat_index_get_entry(stream, entries - 1);
        if (last && last->pos + last->size > fileSize) {
            report.add(place, Finding::Error,
                       QStringLiteral("the file is cut off: its %1 runs to byte %2, but the file "
                                      "ends at byte %3")
                           .arg(kind)
                           .arg(last->pos + last->size)
                           .arg(fileSize));
            return;
        }
    }
    const bool streamTimed = stream->duration != AV_NOPTS_VALUE && stream->duration > 0;
    const bool fileTimed = format->duration != AV_NOPTS_VALUE && format->duration > 0;
    if (!streamTimed && !fileTimed) {
        report.add(place, Finding::Error,
                   QStringLiteral("its %1 has no duration above zero").arg(kind));
        return;
    }
    const auto use = type == AVMEDIA_TYPE_VIDEO ? PlayableFormats::Video : PlayableFormats::Audio;
    const QString container = QString::fromUtf8(format->iformat->name);
    if (!PlayableFormats::container(container, use))
        report.add(
            place, Finding::Warning,
            QStringLiteral("its container (%1) is not one the editor plays %2 from")
                .arg(QString::fromUtf8(format->iformat->long_name ? format->iformat->long_name
                                                                  : format->iformat->name),
                     kind));
    const QString codec = QString::fromUtf8(avcodec_get_name(stream->codecpar->codec_id));
    if (!PlayableFormats::codec(codec, use))
        report.add(
            place, Finding::Warning,
            QStringLiteral("its %1 codec (%2) is not one the editor plays").arg(kind, codec));
}

}  // namespace

void MediaCheck::check(const QString& path, Expected expected, const CheckPlace& place,
                       CheckReport& report) {
    if (expected == Image) {
        // Its size is checked from the header before a pixel is decoded.
        try {
            Bundle::readImageFile(path);
        } catch (const std::exception& error) {
            // The finding names the file already.
            QString reason = QString::fromUtf8(error.what());
            if (reason.startsWith(path + QLatin1String(": ")))
                reason = reason.mid(path.size() + 2);
            report.add(place, Finding::Error,
                       QStringLiteral("not an image that decodes: %1").arg(reason));
            return;
        }
        QImageReader reader(path);
        reader.setDecideFormatFromContent(true);
        const QString format = QString::fromLatin1(reader.format());
        if (!PlayableFormats::image(format))
            report.add(
                place, Finding::Warning,
                QStringLiteral("its image format (%1) is not one the editor shows").arg(format));
        return;
    }
    checkStream(path, expected == Video ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO, place, report);
}

}  // namespace Cli
