#include "platform/media/core_parser.h"

#include <QFile>
#include <QFileInfo>

#include <stdexcept>

#include "platform/media/stream_reader_impl.h"

namespace {

[[noreturn]] void fail(const char* what, const QString& path, int code) {
    throw std::runtime_error(std::string(what) + " '" + path.toStdString() +
                             "': " + Media::Av::errorText(code));
}

}  // namespace

boost::intrusive_ptr<Media::StreamReader> CoreParser::openSource(const QString& path) {
    // An absolute path can never read as "proto:...", and the whitelist keeps whatever the file
    // refers to (playlists, references) on the local disk as well.
    const QByteArray localPath = QFile::encodeName(QFileInfo(path).absoluteFilePath());
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    AVFormatContext* opened = nullptr;
    const int code = avformat_open_input(&opened, localPath.constData(), nullptr, &options);
    av_dict_free(&options);
    if (code < 0)
        fail("Can not open media file", path, code);

    auto impl = std::make_unique<Media::StreamReader::Impl>();
    impl->context.reset(opened);
    if (const int info = avformat_find_stream_info(opened, nullptr); info < 0)
        fail("Can not read the streams of media file", path, info);
    return boost::intrusive_ptr<Media::StreamReader>(
        new Media::StreamReader(path, std::move(impl)));
}
