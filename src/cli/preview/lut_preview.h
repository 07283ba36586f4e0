#pragma once

#include <QImage>
#include <QString>

namespace Cli::Preview {

// A frame as a LUT effect shows it: the LUT file applied by OpenColorIO to every pixel, with
// trilinear interpolation (the editor's), 8 bits in and out.
class LutPreview {
public:
    // Throws Cli::Error with the colour library's reason, naming `name`, when the LUT does not
    // load.
    static QImage apply(const QImage& frame, const QString& lutPath, const QString& name);
};

}  // namespace Cli::Preview
