#pragma once

#include <QImage>
#include <QString>

namespace Cli::Preview {

// The frame that colour effects are shown on: a test card made here (colour bars, a grey ramp,
// skin and sky tones, black and white), or a picture the user gives, fitted to the same width.
class ReferenceFrame {
public:
    static constexpr int kWidth = 320;
    static constexpr int kHeight = 180;

    // The built-in test card, kWidth x kHeight, the same on every run.
    static QImage testCard();

    // The picture at `path` scaled to kWidth wide. Throws Cli::Error naming it when it is no
    // readable image or is larger than the limits of a package's images.
    static QImage fromFile(const QString& path);
};

}  // namespace Cli::Preview
