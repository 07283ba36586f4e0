#include "cli/checks/playable_formats.h"

#include <QStringList>

namespace Cli {
namespace {

bool anyOf(const QString& names, const QStringList& allowed) {
    for (const QString& name : names.split(QLatin1Char(','))) {
        if (allowed.contains(name.trimmed()))
            return true;
    }
    return false;
}

}  // namespace

bool PlayableFormats::container(const QString& demuxerNames, Use use) {
    // MP4 and QuickTime share one demuxer, as do Matroska and WebM.
    static const QStringList video = {QStringLiteral("mp4"), QStringLiteral("mov"),
                                      QStringLiteral("matroska"), QStringLiteral("webm"),
                                      QStringLiteral("avi")};
    static const QStringList audio =
        video + QStringList{QStringLiteral("m4a"), QStringLiteral("wav"),  QStringLiteral("mp3"),
                            QStringLiteral("ogg"), QStringLiteral("flac"), QStringLiteral("aac")};
    return anyOf(demuxerNames, use == Video ? video : audio);
}

bool PlayableFormats::codec(const QString& codecName, Use use) {
    static const QStringList video = {QStringLiteral("h264"),  QStringLiteral("hevc"),
                                      QStringLiteral("mpeg4"), QStringLiteral("vp8"),
                                      QStringLiteral("vp9"),   QStringLiteral("prores")};
    static const QStringList audio = {QStringLiteral("aac"), QStringLiteral("mp3"),
                                      QStringLiteral("vorbis"), QStringLiteral("opus"),
                                      QStringLiteral("flac")};
    if (use == Video)
        return video.contains(codecName);
    // Every integer and float PCM layout.
    return audio.contains(codecName) || codecName.startsWith(QLatin1String("pcm_s")) ||
           codecName.startsWith(QLatin1String("pcm_u")) ||
           codecName.startsWith(QLatin1String("pcm_f"));
}

bool PlayableFormats::image(const QString& format) {
    static const QStringList images = {QStringLiteral("png"), QStringLiteral("jpeg"),
                                       QStringLiteral("jpg"), QStringLiteral("bmp"),
                                       QStringLiteral("gif"), QStringLiteral("tiff"),
                                       QStringLiteral("tif"), QStringLiteral("webp")};
    return images.contains(format.toLower());
}

}  // namespace Cli
