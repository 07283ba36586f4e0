#pragma once

#include <QString>

#include "cli/checks/check_report.h"

namespace Cli {

// Probes one media file for what its component uses it as: a video needs a video stream whose
// first frame decodes and a duration above zero, audio likewise an audio stream, and an image must
// decode as a picture (as the editor reads masks, previews and auxiliary images). Anything else is
// an error naming what the file holds instead. Owns nothing.
class MediaCheck {
public:
    enum Expected { Video, Audio, Image };

    static void check(const QString& path, Expected expected, const CheckPlace& place,
                      CheckReport& report);
};

}  // namespace Cli
