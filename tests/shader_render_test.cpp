#include <gtest/gtest.h>
#include <zip.h>

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <cstdlib>

#include "cli/preview/reference_frame.h"
#include "cli/preview/shader_preview.h"
#include "cli/preview/shader_renderer.h"
#include "preview_support.h"
#include "test_support.h"

namespace {

using PreviewSupport::HtmlCard;
using TestSupport::tool;

const char* const kInvert = R"(#version 120
uniform sampler2D source;
uniform float intensity;
varying vec2 texCoord;
void main() {
    vec4 colour = texture2D(source, texCoord);
    gl_FragColor = vec4(mix(colour.rgb, 1.0 - colour.rgb, intensity), 1.0);
}
)";

const char* const kMix = R"(#version 130
uniform sampler2D source;
uniform sampler2D target;
uniform float progress;
in vec2 texCoord;
out vec4 colour;
void main() {
    colour = mix(texture(source, texCoord), texture(target, texCoord), progress);
}
)";

// Reads an input that the editor's quad never writes: it compiles, and linking fails.
const char* const kUnlinkable = R"(#version 120
uniform sampler2D source;
varying vec2 texCoord;
varying vec2 elsewhere;
void main() {
    gl_FragColor = texture2D(source, texCoord + elsewhere);
}
)";

// As good as endless: 10^12 dependent reads a pixel. (A single endless loop is cut short by the
// software rasteriser; loops in loops are not.)
const char* const kEndless = R"(#version 120
uniform sampler2D source;
varying vec2 texCoord;
void main() {
    vec4 colour = texture2D(source, texCoord);
    for (int i = 0; i < 1000000; ++i) {
        for (int j = 0; j < 1000000; ++j)
            colour = texture2D(source, colour.yx + colour.zw);
    }
    gl_FragColor = colour;
}
)";

int difference(QRgb a, QRgb b) {
    return std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                     std::abs(qBlue(a) - qBlue(b))});
}

// The largest difference of a channel between `image` and `expected(x, y)` over every pixel.
template <class Expected>
int largestDifference(const QImage& image, Expected expected) {
    int largest = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            largest = std::max(largest, difference(image.pixel(x, y), expected(x, y)));
    }
    return largest;
}

class ShaderRenderTest : public testing::Test {
protected:
    void SetUp() override {
        Cli::Preview::ShaderRenderer renderer;
        if (!renderer.available())
            GTEST_SKIP() << "no OpenGL renderer: " << renderer.absence().toStdString();
    }

    // Builds a package of shader components, each {kind, title, file name, source}.
    QString build(const QList<QStringList>& shaders) {
        QJsonArray components;
        for (const QStringList& shader : shaders) {
            TestSupport::writeFile(dir.filePath(shader[2]), shader[3].toUtf8());
            components.append(QJsonObject{{"kind", shader[0]},
                                          {"title", shader[1]},
                                          {"shader", shader[2]},
                                          {"supportsIntensity", true}});
        }
        const QJsonObject recipe{{"name", "Shaders"}, {"components", components}};
        TestSupport::writeFile(dir.filePath("recipe.json"), QJsonDocument(recipe).toJson());
        const QString package = dir.filePath("shaders.qpack");
        const auto built = tool({"build", dir.filePath("recipe.json"), "-o", package});
        EXPECT_EQ(built.code, 0) << built.errors.toStdString();
        return package;
    }

    // Puts `source` in place of the package's shader file `name`, past the checks of a build.
    void replaceShader(const QString& package, const QString& name, const QByteArray& source) {
        QString entry;
        for (const QString& candidate : TestSupport::zipEntries(package)) {
            if (candidate.endsWith("/" + name))
                entry = candidate;
        }
        ASSERT_FALSE(entry.isEmpty()) << name.toStdString();
        int code = 0;
        zip_t* archive = zip_open(QFile::encodeName(package).constData(), 0, &code);
        ASSERT_TRUE(archive);
        replacement = source;
        zip_source_t* data = zip_source_buffer(archive, replacement.constData(),
                                               zip_uint64_t(replacement.size()), 0);
        ASSERT_GE(
            zip_file_replace(archive,
                             zip_uint64_t(zip_name_locate(archive, entry.toUtf8().constData(), 0)),
                             data, 0),
            0);
        ASSERT_EQ(zip_close(archive), 0);
    }

    std::vector<HtmlCard> cards(const QString& package) {
        const QString output = dir.filePath("sheet.html");
        const auto previewed = tool({"preview", package, "-o", output});
        EXPECT_EQ(previewed.code, 0) << previewed.errors.toStdString();
        return PreviewSupport::htmlCards(QString::fromUtf8(TestSupport::readFile(output)));
    }

    static QImage picture(const HtmlCard& card, const QString& caption) {
        for (const auto& [alt, image] : card.pictures) {
            if (alt == caption)
                return image.convertToFormat(QImage::Format_RGB32);
        }
        ADD_FAILURE() << card.kind.toStdString() << " has no picture " << caption.toStdString()
                      << ": " << card.markup.toStdString();
        return QImage();
    }

    QTemporaryDir dir;
    QByteArray replacement;
};

TEST_F(ShaderRenderTest, EffectAndTransitionAreRenderedOnTheReferenceFrame) {
    const auto sheet = cards(build({{"shader-effect", "Invert", "invert.frag", kInvert},
                                    {"shader-transition", "Mix", "mix.frag", kMix}}));
    ASSERT_EQ(sheet.size(), 2u);
    // Transitions come before effects in a package.
    const HtmlCard& transition = sheet[0];
    const HtmlCard& effect = sheet[1];
    ASSERT_EQ(effect.kind, "Shader effect");
    const QImage frame = Cli::Preview::ReferenceFrame::testCard();

    // Intensity 1, as the component supports it: every level becomes 255 minus itself, and the
    // frame is the right way up.
    const QImage inverted = picture(effect, "rendered");
    ASSERT_EQ(inverted.size(), frame.size());
    EXPECT_LE(largestDifference(inverted,
                                [&](int x, int y) {
                                    const QRgb pixel = frame.pixel(x, y);
                                    return qRgb(255 - qRed(pixel), 255 - qGreen(pixel),
                                                255 - qBlue(pixel));
                                }),
              2);
    EXPECT_TRUE(effect.markup.contains("rendered on the reference frame, intensity 1"));

    // Halfway from the frame to its mirror image.
    const QImage halfway = picture(transition, "progress 0.5");
    ASSERT_EQ(halfway.size(), frame.size());
    const QImage mirror = Cli::Preview::ShaderPreview::targetFrame(frame);
    EXPECT_NE(mirror, frame);
    EXPECT_LE(largestDifference(halfway,
                                [&](int x, int y) {
                                    const QRgb a = frame.pixel(x, y);
                                    const QRgb b = mirror.pixel(x, y);
                                    return qRgb((qRed(a) + qRed(b) + 1) / 2,
                                                (qGreen(a) + qGreen(b) + 1) / 2,
                                                (qBlue(a) + qBlue(b) + 1) / 2);
                                }),
              2);
}

TEST_F(ShaderRenderTest, ShaderThatDoesNotLinkShowsTheDriversLog) {
    const QString package = build({{"shader-effect", "Broken", "broken.frag", kInvert}});
    replaceShader(package, "broken.frag", kUnlinkable);

    Cli::Preview::ShaderRenderer renderer;
    Cli::Preview::ShaderInputs inputs;
    inputs.source = Cli::Preview::ReferenceFrame::testCard();
    const Cli::Preview::ShaderRender direct = renderer.render(kUnlinkable, inputs);
    ASSERT_EQ(direct.status, Cli::Preview::ShaderRender::LinkError) << direct.log.toStdString();
    ASSERT_FALSE(direct.log.isEmpty());

    const auto sheet = cards(package);
    ASSERT_EQ(sheet.size(), 1u);
    const QString line = direct.log.split('\n').front().trimmed();
    EXPECT_TRUE(
        sheet[0].markup.contains("the OpenGL driver cannot link it: " +
                                 line.toHtmlEscaped().replace('\'', QStringLiteral("&#39;"))))
        << sheet[0].markup.toStdString();
    EXPECT_TRUE(sheet[0].markup.contains("broken.frag"));
    EXPECT_EQ(sheet[0].pictures.size(), 1u) << "only the preview";
}

TEST_F(ShaderRenderTest, EndlessShaderIsStoppedAndTheNextStillRenders) {
    const QString package = build({{"shader-effect", "Endless", "endless.frag", kInvert},
                                   {"shader-effect", "Invert", "invert.frag", kInvert}});
    replaceShader(package, "endless.frag", kEndless);
    const auto sheet = cards(package);
    ASSERT_EQ(sheet.size(), 2u);
    EXPECT_TRUE(sheet[0].markup.contains("endless.frag: not rendered: not finished after 5 s"))
        << sheet[0].markup.toStdString();
    EXPECT_FALSE(picture(sheet[1], "rendered").isNull());
}

TEST_F(ShaderRenderTest, WithoutARendererTheCardSaysSoInOneLine) {
    const QString package = build({{"shader-effect", "Invert", "invert.frag", kInvert}});
    // No vendor library for EGL: no display can be made.
    qputenv("__EGL_VENDOR_LIBRARY_FILENAMES", dir.filePath("none.json").toUtf8());
    const auto sheet = cards(package);
    qunsetenv("__EGL_VENDOR_LIBRARY_FILENAMES");
    ASSERT_EQ(sheet.size(), 1u);
    EXPECT_EQ(sheet[0].markup.count("not rendered: no OpenGL renderer"), 1)
        << sheet[0].markup.toStdString();
    EXPECT_EQ(sheet[0].pictures.size(), 1u) << "only the preview";
    EXPECT_FALSE(sheet[0].markup.contains("class=\"problems\""));
}

}  // namespace
