#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

#include "cli/preview/sheet_model.h"

namespace Cli::Preview {

class ShaderRenderProcess;

// A shader effect or transition run on the reference frame, for its card: an effect's frame as
// the shader makes it; a transition's frame halfway (progress 0.5) from the reference frame to
// the same frame mirrored left to right. Intensity is 1 when the component says the shader
// honours it, else 0 as in the editor; time is 0.
class ShaderPreview {
public:
    struct Shader {
        QString entry;  // the shader's path in the package, for messages
        QByteArray code;
        QImage auxImage;  // at its own size; null when there is none
        bool transition = false;
        bool supportsIntensity = false;
        bool checkFoundErrors = false;  // the shader check's errors are on the card already
    };

    static constexpr float kTransitionProgress = 0.5f;

    // Adds the render to the card, or the driver's compile or link errors among its problems, or
    // one note that the renderer is absent.
    static void show(ShaderRenderProcess& renderer, const Shader& shader, const QImage& frame,
                     SheetCard& card);

    // The frame a transition is shown going to: `frame` mirrored left to right.
    static QImage targetFrame(const QImage& frame);
};

}  // namespace Cli::Preview
