#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>
#include <memory>

namespace Cli::Preview {

// What the editor gives a shader for one frame (docs/shaders.md).
struct ShaderInputs {
    QImage source;    // the frame; a transition's outgoing frame. The render has its size.
    QImage target;    // a transition's incoming frame; null for an effect
    QImage auxImage;  // null when the component gives none
    float intensity = 0;
    float progress = 0;
    float time = 0;
};

// The outcome of one render.
struct ShaderRender {
    enum Status { Rendered, CompileError, LinkError, Unavailable, Failed };
    Status status = Failed;
    QImage image;  // when Rendered: the frame the shader made, ARGB32, the source's size
    QString log;   // the driver's log, or why nothing was rendered
};

// Runs a shader as the editor does, without a window or a display server: OpenGL through EGL's
// surfaceless platform, on the software rasteriser so that the result does not depend on the
// machine's GPU. The fragment shader is the file as it stands; a quad over the whole frame hands
// it `texCoord`, and the editor's uniforms are set. Drawn into a framebuffer object and read
// back. The context belongs to the thread that renders; one renderer per thread.
//
// A shader that never ends hangs its render (the software rasteriser has no watchdog), so the
// sheet renders in a child process (ShaderRenderProcess) that it can stop.
class ShaderRenderer {
public:
    // Opens the display and makes a context; never throws. Forces the software rasteriser
    // through the environment, so make it before any other thread may read the environment.
    ShaderRenderer();
    ~ShaderRenderer();
    ShaderRenderer(const ShaderRenderer&) = delete;
    ShaderRenderer& operator=(const ShaderRenderer&) = delete;

    bool available() const { return m_context != nullptr; }
    // Why there is no renderer, in a few words; empty when there is one.
    QString absence() const { return m_absence; }
    // The name of the OpenGL renderer ("llvmpipe (...)"), empty without one.
    QString name() const { return m_name; }

    ShaderRender render(const QByteArray& fragmentShader, const ShaderInputs& inputs);

    struct Context;

private:
    std::unique_ptr<Context> m_context;
    QString m_absence;
    QString m_name;
};

}  // namespace Cli::Preview
