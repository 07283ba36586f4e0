#include "platform/media/core_parser.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <sys/stat.h>

#include "platform/media/media_error.h"
#include "platform/media/media_log.h"
#include "platform/media/stream_reader_impl.h"

namespace {

[[noreturn]] void fail(const char* what, const QString& path, const std::string& why) {
    throw Media::Error(std::string(what) + " '" + path.toStdString() + "': " + why, path);
}

[[noreturn]] void fail(const char* what, const QString& path, int code) {
    fail(what, path, Media::Av::errorText(code));
}

// Demuxers that read other files than the one they are given: playlists and manifests (whose
// entries may name any file on the machine), concatenation lists, scripts, sibling files.
// Devices and network sessions, which have no file of their own, are refused by their flags.
bool refersToOtherFiles(const AVInputFormat* format) {
    static const QSet<QByteArray> names = {
        "hls",  "concat", "dash", "imf",      "mlv",         "vobsub", "sdp",
        "rtsp", "sap",    "rtp",  "avisynth", "vapoursynth", "lavfi",  "webm_dash_manifest",
    };
    // image2 reads numbered or globbed sequences, unless it is told to take the name as it is.
    if ((format->flags & AVFMT_NOFILE) && qstrcmp(format->name, "image2") != 0)
        return true;
    for (const QByteArray& name : QByteArray(format->name).split(',')) {
        if (names.contains(name))
            return true;
    }
    return false;
}

// Every demuxer that reads only its own file, as FFmpeg's "format_whitelist" wants it: it also
// binds whatever a demuxer might open on its own.
const char* ownFileDemuxers() {
    static const QByteArray list = [] {
        QByteArray names;
        void* state = nullptr;
        while (const AVInputFormat* format = av_demuxer_iterate(&state)) {
            if (refersToOtherFiles(format))
                continue;
            if (!names.isEmpty())
                names += ',';
            names += format->name;
        }
        return names;
    }();
    return list.constData();
}

// The demuxer for a file, chosen from its first bytes (and name) among all that FFmpeg has, so
// that a playlist is recognised and refused by name rather than misread by another demuxer.
const AVInputFormat* probe(const QByteArray& url, const QString& path) {
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    AVIOContext* io = nullptr;
    int code = avio_open2(&io, url.constData(), AVIO_FLAG_READ, nullptr, &options);
    av_dict_free(&options);
    if (code < 0)
        fail("Can not open media file", path, code);
    const AVInputFormat* format = nullptr;
    code = av_probe_input_buffer2(io, &format, url.constData(), nullptr, 0, 0);
    avio_closep(&io);
    if (code < 0)
        fail("Can not open media file", path, code);
    return format;
}

[[noreturn]] void refuse(const AVInputFormat* format, const QString& path) {
    const char* kind = format->long_name ? format->long_name : format->name;
    fail("Can not open media file", path,
         std::string("names other files (") + kind + "); only the file itself is read");
}

}  // namespace

boost::intrusive_ptr<Media::StreamReader> CoreParser::openSource(const QString& path) {
    Media::Log::install();
    // An absolute path can never read as "proto:...".
    const QByteArray localPath = QFile::encodeName(QFileInfo(path).absoluteFilePath());
    // A device or a pipe is not media on disk; a missing file gets FFmpeg's own reason below.
    struct stat status {};
    if (::stat(localPath.constData(), &status) == 0 && !S_ISREG(status.st_mode))
        fail("Can not open media file", path, "not a regular file");

    const AVInputFormat* format = probe(localPath, path);
    if (refersToOtherFiles(format))
        refuse(format, path);

    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", ownFileDemuxers(), 0);
    av_dict_set(&options, "pattern_type", "none", 0);  // image2: the file named, not a sequence
    av_dict_set(&options, "enable_drefs", "0", 0);     // MOV: no data in other files
    AVFormatContext* opened = nullptr;
    const int code = avformat_open_input(&opened, localPath.constData(), format, &options);
    av_dict_free(&options);
    if (code < 0)
        fail("Can not open media file", path, code);

    auto impl = std::make_unique<Media::StreamReader::Impl>();
    impl->context.reset(opened);
    if (refersToOtherFiles(opened->iformat))
        refuse(opened->iformat, path);
    if (const int info = avformat_find_stream_info(opened, nullptr); info < 0)
        fail("Can not read the streams of media file", path, info);
    return boost::intrusive_ptr<Media::StreamReader>(
        new Media::StreamReader(path, std::move(impl)));
}
