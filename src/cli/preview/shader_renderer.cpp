#include "cli/preview/shader_renderer.h"

#include <QRegularExpression>
#include <QStringList>
#include <cstring>
#include <vector>

#ifdef PACKWRIGHT_HAVE_EGL
#define GL_GLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/gl.h>
#include <GL/glext.h>
#endif

namespace Cli::Preview {

#ifdef PACKWRIGHT_HAVE_EGL

struct ShaderRenderer::Context {
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLContext context = EGL_NO_CONTEXT;
};

namespace {

bool hasExtension(const char* list, const char* name) {
    if (!list)
        return false;
    const size_t length = std::strlen(name);
    for (const char* at = std::strstr(list, name); at; at = std::strstr(at + length, name)) {
        if ((at == list || at[-1] == ' ') && (at[length] == ' ' || at[length] == '\0'))
            return true;
    }
    return false;
}

// The shader's `#version`; 110 without one, as the editor's compiler assumes.
int glslVersion(const QByteArray& source) {
    static const QRegularExpression pattern(QStringLiteral(R"(^[ \t]*#[ \t]*version[ \t]+(\d+))"),
                                            QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = pattern.match(QString::fromUtf8(source));
    return match.hasMatch() ? match.captured(1).toInt() : 110;
}

// The editor's vertex shader: a quad over the whole frame, with texCoord from (0, 0) at the
// bottom left to (1, 1) at the top right. In the fragment shader's version, so that they link.
QByteArray vertexShader(int version) {
    const QByteArray head = "#version " + QByteArray::number(version) + "\n";
    const QByteArray body =
        "void main() {\n"
        "    texCoord = position * 0.5 + 0.5;\n"
        "    gl_Position = vec4(position, 0.0, 1.0);\n"
        "}\n";
    if (version >= 130)
        return head + "in vec2 position;\nout vec2 texCoord;\n" + body;
    return head + "attribute vec2 position;\nvarying vec2 texCoord;\n" + body;
}

// GL objects of one render, deleted when it ends whatever happens.
struct RenderObjects {
    std::vector<GLuint> shaders;
    GLuint program = 0;
    std::vector<GLuint> textures;
    GLuint renderbuffer = 0;
    GLuint framebuffer = 0;
    GLuint buffer = 0;

    ~RenderObjects() {
        if (buffer)
            glDeleteBuffers(1, &buffer);
        if (framebuffer)
            glDeleteFramebuffers(1, &framebuffer);
        if (renderbuffer)
            glDeleteRenderbuffers(1, &renderbuffer);
        if (!textures.empty())
            glDeleteTextures(GLsizei(textures.size()), textures.data());
        for (const GLuint shader : shaders)
            glDeleteShader(shader);
        if (program)
            glDeleteProgram(program);
    }
};

// A driver's log as lines, without the blank, stray or repeated ones that some drivers leave.
QString tidyLog(const QByteArray& raw) {
    QStringList lines;
    for (QString line : QString::fromUtf8(raw.constData()).split(QLatin1Char('\n'))) {
        line = line.trimmed();
        while (line.startsWith(QLatin1Char('.')))
            line = line.mid(1).trimmed();
        if (line.contains(QRegularExpression(QStringLiteral("[A-Za-z]"))) && !lines.contains(line))
            lines << line;
    }
    return lines.join(QLatin1Char('\n'));
}

QString shaderLog(GLuint shader) {
    GLint length = 0;
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    QByteArray log(std::max(length, 1), '\0');
    glGetShaderInfoLog(shader, length, nullptr, log.data());
    return tidyLog(log);
}

QString programLog(GLuint program) {
    GLint length = 0;
    glGetProgramiv(program, GL_INFO_LOG_LENGTH, &length);
    QByteArray log(std::max(length, 1), '\0');
    glGetProgramInfoLog(program, length, nullptr, log.data());
    return tidyLog(log);
}

// Compiles one stage; 0 with the driver's log when it does not compile.
GLuint compile(GLenum stage, const QByteArray& source, RenderObjects& objects, QString* log) {
    const GLuint shader = glCreateShader(stage);
    objects.shaders.push_back(shader);
    const GLchar* text = source.constData();
    const GLint length = GLint(source.size());
    glShaderSource(shader, 1, &text, &length);
    glCompileShader(shader);
    GLint compiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled != GL_TRUE) {
        *log = shaderLog(shader);
        return 0;
    }
    return shader;
}

// A texture of `image` with its first row at the bottom, so that texCoord (0, 0) is the
// picture's bottom left, as in the editor.
GLuint upload(const QImage& image, GLenum unit, GLint wrap, RenderObjects& objects) {
    const QImage pixels = image.convertToFormat(QImage::Format_RGBA8888).mirrored();
    GLuint texture = 0;
    glGenTextures(1, &texture);
    objects.textures.push_back(texture);
    glActiveTexture(unit);
    glBindTexture(GL_TEXTURE_2D, texture);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, pixels.width(), pixels.height(), 0, GL_RGBA,
                 GL_UNSIGNED_BYTE, pixels.constBits());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, wrap);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, wrap);
    return texture;
}

}  // namespace

namespace {

// Opens the surfaceless display and makes a current OpenGL context; why not, else empty.
QString open(ShaderRenderer::Context& context) {
    const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!hasExtension(clientExtensions, "EGL_MESA_platform_surfaceless"))
        return QStringLiteral("EGL has no surfaceless platform");
    const auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay)
        context.display =
            getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    EGLint major = 0;
    EGLint minor = 0;
    if (context.display == EGL_NO_DISPLAY || !eglInitialize(context.display, &major, &minor)) {
        context.display = EGL_NO_DISPLAY;
        return QStringLiteral("no EGL display can be opened (EGL error 0x%1)")
            .arg(eglGetError(), 0, 16);
    }
    if (!hasExtension(eglQueryString(context.display, EGL_EXTENSIONS),
                      "EGL_KHR_surfaceless_context"))
        return QStringLiteral("EGL cannot make a context without a surface");
    if (!eglBindAPI(EGL_OPENGL_API))
        return QStringLiteral("EGL offers no desktop OpenGL");
    // Any configuration: nothing is drawn into a surface.
    const EGLint attributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE,
                                 EGL_DONT_CARE, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint configs = 0;
    if (!eglChooseConfig(context.display, attributes, &config, 1, &configs) || configs < 1)
        return QStringLiteral("EGL has no configuration for desktop OpenGL");
    // A compatibility context: the editor's shaders go back to GLSL 1.10.
    context.context = eglCreateContext(context.display, config, EGL_NO_CONTEXT, nullptr);
    if (context.context == EGL_NO_CONTEXT)
        return QStringLiteral("EGL cannot make an OpenGL context (EGL error 0x%1)")
            .arg(eglGetError(), 0, 16);
    if (!eglMakeCurrent(context.display, EGL_NO_SURFACE, EGL_NO_SURFACE, context.context))
        return QStringLiteral("EGL cannot make its OpenGL context current");
    return QString();
}

}  // namespace

ShaderRenderer::ShaderRenderer() {
    // The software rasteriser whatever the machine has: the same pictures everywhere.
    qputenv("LIBGL_ALWAYS_SOFTWARE", "1");
    qputenv("GALLIUM_DRIVER", "llvmpipe");
    auto context = std::make_unique<Context>();
    m_absence = open(*context);
    if (m_absence.isEmpty()) {
        m_name = QString::fromLatin1(reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
        m_context = std::move(context);
        return;
    }
    if (context->context != EGL_NO_CONTEXT)
        eglDestroyContext(context->display, context->context);
    if (context->display != EGL_NO_DISPLAY)
        eglTerminate(context->display);
}

ShaderRenderer::~ShaderRenderer() {
    if (!m_context)
        return;
    eglMakeCurrent(m_context->display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroyContext(m_context->display, m_context->context);
    // The display stays initialised: terminating it unloads the driver, which leaves its own
    // allocations behind, and a later renderer of this process takes the same display again.
}

ShaderRender ShaderRenderer::render(const QByteArray& fragmentShader, const ShaderInputs& inputs) {
    ShaderRender result;
    if (!m_context) {
        result.status = ShaderRender::Unavailable;
        result.log = m_absence;
        return result;
    }
    const QSize size = inputs.source.size();
    if (size.isEmpty()) {
        result.log = QStringLiteral("no frame to render on");
        return result;
    }
    eglMakeCurrent(m_context->display, EGL_NO_SURFACE, EGL_NO_SURFACE, m_context->context);
    while (glGetError() != GL_NO_ERROR) {
    }
    RenderObjects objects;
    QString log;
    const GLuint vertex =
        compile(GL_VERTEX_SHADER, vertexShader(glslVersion(fragmentShader)), objects, &log);
    if (!vertex) {
        // Our quad cannot be written in the shader's version: the fragment shader's own compile
        // says why, or else the driver's word on the quad.
        const bool compiles = compile(GL_FRAGMENT_SHADER, fragmentShader, objects, &log) != 0;
        result.status = compiles ? ShaderRender::Failed : ShaderRender::CompileError;
        result.log = log;
        return result;
    }
    const GLuint fragment = compile(GL_FRAGMENT_SHADER, fragmentShader, objects, &log);
    if (!fragment) {
        result.status = ShaderRender::CompileError;
        result.log = log;
        return result;
    }
    objects.program = glCreateProgram();
    glAttachShader(objects.program, vertex);
    glAttachShader(objects.program, fragment);
    glBindAttribLocation(objects.program, 0, "position");
    glLinkProgram(objects.program);
    GLint linked = GL_FALSE;
    glGetProgramiv(objects.program, GL_LINK_STATUS, &linked);
    if (linked != GL_TRUE) {
        result.status = ShaderRender::LinkError;
        result.log = programLog(objects.program);
        return result;
    }

    // The frame is drawn into a buffer of its size.
    glGenRenderbuffers(1, &objects.renderbuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, objects.renderbuffer);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, size.width(), size.height());
    glGenFramebuffers(1, &objects.framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, objects.framebuffer);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER,
                              objects.renderbuffer);
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        result.log = QStringLiteral("the driver cannot draw into a %1 x %2 frame")
                         .arg(size.width())
                         .arg(size.height());
        return result;
    }

    // Frames sample inside the picture; the auxiliary image tiles, as shaders scale it freely.
    upload(inputs.source, GL_TEXTURE0, GL_CLAMP_TO_EDGE, objects);
    upload(inputs.target.isNull() ? inputs.source : inputs.target, GL_TEXTURE1, GL_CLAMP_TO_EDGE,
           objects);
    const bool hasAux = !inputs.auxImage.isNull();
    if (hasAux)
        upload(inputs.auxImage, GL_TEXTURE2, GL_REPEAT, objects);
    glUseProgram(objects.program);
    const auto location = [&](const char* name) {
        return glGetUniformLocation(objects.program, name);
    };
    glUniform1i(location("source"), 0);
    glUniform1i(location("target"), 1);
    if (hasAux)
        glUniform1i(location("auxImage"), 2);
    glUniform1f(location("intensity"), inputs.intensity);
    glUniform1f(location("progress"), inputs.progress);
    glUniform1f(location("time"), inputs.time);
    glUniform2f(location("resolution"), GLfloat(size.width()), GLfloat(size.height()));

    const GLfloat quad[] = {-1, -1, 1, -1, -1, 1, 1, 1};
    glGenBuffers(1, &objects.buffer);
    glBindBuffer(GL_ARRAY_BUFFER, objects.buffer);
    glBufferData(GL_ARRAY_BUFFER, sizeof quad, quad, GL_STATIC_DRAW);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, nullptr);
    glViewport(0, 0, size.width(), size.height());
    glDisable(GL_BLEND);
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glDisableVertexAttribArray(0);

    QImage pixels(size, QImage::Format_RGBA8888);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(0, 0, size.width(), size.height(), GL_RGBA, GL_UNSIGNED_BYTE, pixels.bits());
    glUseProgram(0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    if (const GLenum error = glGetError(); error != GL_NO_ERROR) {
        result.log =
            QStringLiteral("the driver failed to draw (OpenGL error 0x%1)").arg(error, 0, 16);
        return result;
    }
    result.status = ShaderRender::Rendered;
    result.image = pixels.mirrored().convertToFormat(QImage::Format_ARGB32);
    return result;
}

#else

struct ShaderRenderer::Context {};

ShaderRenderer::ShaderRenderer()
    : m_absence(QStringLiteral("this packwright was built without OpenGL")) {}

ShaderRenderer::~ShaderRenderer() = default;

ShaderRender ShaderRenderer::render(const QByteArray&, const ShaderInputs&) {
    ShaderRender result;
    result.status = ShaderRender::Unavailable;
    result.log = m_absence;
    return result;
}

#endif

}  // namespace Cli::Preview
