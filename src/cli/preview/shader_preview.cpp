#include "cli/preview/shader_preview.h"

#include <QStringList>

#include "cli/preview/shader_render_process.h"

namespace Cli::Preview {
namespace {

// The driver's log, a problem per line, naming the shader.
void addLog(SheetCard& card, const QString& entry, const QString& what, const QString& log) {
    bool added = false;
    for (const QString& line : log.split(QLatin1Char('\n'))) {
        if (line.trimmed().isEmpty())
            continue;
        card.problems << QStringLiteral("%1: %2: %3").arg(entry, what, line.trimmed());
        added = true;
    }
    if (!added)
        card.problems << QStringLiteral("%1: %2").arg(entry, what);
}

}  // namespace

QImage ShaderPreview::targetFrame(const QImage& frame) {
    return frame.mirrored(true, false);
}

void ShaderPreview::show(ShaderRenderProcess& renderer, const Shader& shader, const QImage& frame,
                         SheetCard& card) {
    ShaderInputs inputs;
    inputs.source = frame;
    if (shader.transition) {
        inputs.target = targetFrame(frame);
        inputs.progress = kTransitionProgress;
    }
    inputs.auxImage = shader.auxImage;
    inputs.intensity = shader.supportsIntensity ? 1.0f : 0.0f;
    const ShaderRender render = renderer.render(shader.code, inputs);
    switch (render.status) {
        case ShaderRender::Rendered:
            if (shader.transition) {
                card.pictures.push_back({QStringLiteral("progress 0.5"), render.image});
                card.notes << QStringLiteral(
                                  "rendered halfway from the reference frame to its mirror "
                                  "image, intensity %1")
                                  .arg(inputs.intensity);
            } else {
                card.pictures.push_back({QStringLiteral("rendered"), render.image});
                card.notes << QStringLiteral("rendered on the reference frame, intensity %1")
                                  .arg(inputs.intensity);
            }
            break;
        case ShaderRender::CompileError:
            // The shader check has said why, at the shader's own lines.
            if (shader.checkFoundErrors)
                card.notes << QStringLiteral("not rendered: the shader does not compile");
            else
                addLog(card, shader.entry, QStringLiteral("the OpenGL driver cannot compile it"),
                       render.log);
            break;
        case ShaderRender::LinkError:
            addLog(card, shader.entry, QStringLiteral("the OpenGL driver cannot link it"),
                   render.log);
            break;
        case ShaderRender::Unavailable:
            card.notes << QStringLiteral("not rendered: no OpenGL renderer (%1)").arg(render.log);
            break;
        case ShaderRender::Failed:
            card.problems << QStringLiteral("%1: not rendered: %2").arg(shader.entry, render.log);
            break;
    }
}

}  // namespace Cli::Preview
