#pragma once

#include <QString>

namespace Cli {

// The containers and codecs that the editor plays (docs/checks.md lists them and says why), by
// the names that FFmpeg and Qt's image readers give them. Owns nothing.
class PlayableFormats {
public:
    enum Use { Video, Audio };

    // A demuxer's name list ("mov,mp4,m4a,3gp,3g2,mj2"): whether the editor reads that container
    // for video or for audio.
    static bool container(const QString& demuxerNames, Use use);
    // A decoder's name ("h264", "pcm_s16le").
    static bool codec(const QString& codecName, Use use);
    // An image reader's format ("png", "jpeg").
    static bool image(const QString& format);
};

}  // namespace Cli
