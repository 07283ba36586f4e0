#include <gtest/gtest.h>
#include <zip.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include "cli/preview/package_source.h"
#include "cli/preview/png_sheet_painter.h"
#include "cli/preview/reference_frame.h"
#include "preview_support.h"
#include "test_support.h"

namespace {

using PreviewSupport::htmlCards;
using TestSupport::tool;

const QString kExamples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples");

// The bundled example, built once, and its HTML sheet.
class PreviewTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        area = std::make_unique<QTemporaryDir>();
        example = area->filePath("example.qpack");
        const auto built = tool({"build", kExamples + "/recipe.json", "-o", example});
        ASSERT_EQ(built.code, 0) << built.errors.toStdString();
        const auto previewed = tool({"preview", example, "-o", area->filePath("sheet.html")});
        ASSERT_EQ(previewed.code, 0) << previewed.errors.toStdString();
        html = QString::fromUtf8(TestSupport::readFile(area->filePath("sheet.html")));
    }
    static void TearDownTestSuite() { area.reset(); }

    // Builds a package from a recipe of the given components, with files from the examples.
    QString build(const QJsonArray& components, const QString& name = "Test Pack") {
        const QJsonObject recipe{{"name", name}, {"components", components}};
        TestSupport::writeFile(dir.filePath("recipe.json"), QJsonDocument(recipe).toJson());
        for (const QString file :
             {"effects/warm-afternoon.cube", "transitions/wipe-mask.png", "media/sunset.jpg"}) {
            QDir().mkpath(QFileInfo(dir.filePath(file)).absolutePath());
            QFile::copy(kExamples + "/" + file, dir.filePath(file));
        }
        const QString package = dir.filePath("test.qpack");
        const auto built = tool({"build", dir.filePath("recipe.json"), "-o", package});
        EXPECT_EQ(built.code, 0) << built.errors.toStdString();
        return package;
    }

    QString sheet(const QString& package, const QStringList& extra = {}) {
        const QString output = dir.filePath("sheet.html");
        const auto previewed = tool(QStringList{"preview", package, "-o", output} + extra);
        EXPECT_EQ(previewed.code, 0) << previewed.errors.toStdString();
        return QString::fromUtf8(TestSupport::readFile(output));
    }

    static std::unique_ptr<QTemporaryDir> area;
    static QString example;
    static QString html;
    QTemporaryDir dir;
};

std::unique_ptr<QTemporaryDir> PreviewTest::area;
QString PreviewTest::example;
QString PreviewTest::html;

const PreviewSupport::HtmlCard* cardOf(const std::vector<PreviewSupport::HtmlCard>& cards,
                                       const QString& kind) {
    for (const auto& card : cards) {
        if (card.kind == kind)
            return &card;
    }
    return nullptr;
}

QStringList captions(const PreviewSupport::HtmlCard& card) {
    QStringList list;
    for (const auto& picture : card.pictures)
        list << picture.first;
    return list;
}

TEST_F(PreviewTest, HtmlSheetShowsEveryItemWithItsOwnPicturesAndNoScript) {
    const auto cards = htmlCards(html);
    EXPECT_EQ(int(cards.size()), PreviewSupport::itemCount(example));
    EXPECT_FALSE(html.contains("<script", Qt::CaseInsensitive));
    EXPECT_FALSE(html.contains("src=\"http")) << "every picture is embedded";
    EXPECT_TRUE(html.contains("<h1>Summer Essentials</h1>"));
    EXPECT_TRUE(html.contains("verify finds no problem"));
    EXPECT_TRUE(html.contains("<li>LUT effect: 1</li>"));
    for (const auto& card : cards) {
        for (const auto& [alt, image] : card.pictures)
            EXPECT_FALSE(image.isNull()) << card.kind.toStdString() << ": " << alt.toStdString();
    }
    const auto* lut = cardOf(cards, "LUT effect");
    ASSERT_TRUE(lut);
    EXPECT_TRUE(lut->markup.contains("<h2>Warm Afternoon</h2>"));
    EXPECT_TRUE(lut->markup.contains("categories: color, summer"));
    EXPECT_TRUE(lut->markup.contains("collection: summer-essentials"));
    EXPECT_TRUE(lut->markup.contains("<td>warm-afternoon.cube</td><td>data</td>"));
    EXPECT_EQ(captions(*lut), QStringList({"preview", "before", "after"}));
    // Then its render, where there is an OpenGL renderer (shader_render_test).
    EXPECT_EQ(captions(*cardOf(cards, "Shader effect")).mid(0, 2),
              QStringList({"preview", "auxiliary image"}));
    EXPECT_TRUE(captions(*cardOf(cards, "Mask transition")).contains("mask"));
    EXPECT_EQ(captions(*cardOf(cards, "Overlay transition")).mid(1),
              QStringList({"start", "middle", "end"}));
    EXPECT_TRUE(captions(*cardOf(cards, "Image import")).contains("image"));
    EXPECT_TRUE(
        cardOf(cards, "Remote import")
            ->markup.contains(
                "downloaded from https://content.example.com/packages/city-timelapse.qpack"));
    EXPECT_TRUE(captions(*cardOf(cards, "Intro")).contains("timeline"));
}

TEST_F(PreviewTest, TitleSheetDrawsTheSceneAndTimeStrip) {
    const QString package = dir.filePath("title.qpack");
    ASSERT_EQ(tool({"build", kExamples + "/title.json", "-o", package}).code, 0);
    const auto cards = htmlCards(sheet(package));
    ASSERT_EQ(int(cards.size()), PreviewSupport::itemCount(package));
    const auto& card = cards.front();
    EXPECT_TRUE(captions(card).contains("scene"));
    EXPECT_TRUE(captions(card).contains("time strip"));
    EXPECT_TRUE(card.markup.contains("items</li>"));
}

// The .cube applied by its own trilinear interpolation, red varying fastest.
struct Cube {
    int size = 0;
    std::vector<std::array<double, 3>> table;

    explicit Cube(const QString& path) {
        const QStringList lines = QString::fromUtf8(TestSupport::readFile(path)).split('\n');
        for (const QString& raw : lines) {
            const QStringList words = raw.simplified().split(' ', Qt::SkipEmptyParts);
            if (words.size() == 2 && words[0] == "LUT_3D_SIZE")
                size = words[1].toInt();
            bool ok = false;
            if (words.size() == 3 && (words[0].toDouble(&ok), ok))
                table.push_back({words[0].toDouble(), words[1].toDouble(), words[2].toDouble()});
        }
    }

    std::array<double, 3> at(int r, int g, int b) const {
        return table[size_t((b * size + g) * size + r)];
    }

    QRgb apply(QRgb pixel) const {
        const double in[3] = {qRed(pixel) / 255.0, qGreen(pixel) / 255.0, qBlue(pixel) / 255.0};
        int low[3];
        double f[3];
        for (int c = 0; c < 3; ++c) {
            const double x = in[c] * (size - 1);
            low[c] = std::min(size - 2, int(std::floor(x)));
            f[c] = x - low[c];
        }
        double out[3] = {0, 0, 0};
        for (int corner = 0; corner < 8; ++corner) {
            const int dr = corner & 1, dg = (corner >> 1) & 1, db = (corner >> 2) & 1;
            const double weight =
                (dr ? f[0] : 1 - f[0]) * (dg ? f[1] : 1 - f[1]) * (db ? f[2] : 1 - f[2]);
            const auto value = at(low[0] + dr, low[1] + dg, low[2] + db);
            for (int c = 0; c < 3; ++c)
                out[c] += weight * value[c];
        }
        const auto level = [](double v) { return int(std::lround(std::clamp(v, 0.0, 1.0) * 255)); };
        return qRgb(level(out[0]), level(out[1]), level(out[2]));
    }
};

TEST_F(PreviewTest, LutCardShowsTheReferenceFrameBeforeAndThroughTheCube) {
    const auto cards = htmlCards(html);
    const auto* lut = cardOf(cards, "LUT effect");
    ASSERT_TRUE(lut);
    const QImage before = lut->pictures[1].second.convertToFormat(QImage::Format_RGB32);
    const QImage after = lut->pictures[2].second.convertToFormat(QImage::Format_RGB32);
    const QImage card = Cli::Preview::ReferenceFrame::testCard();
    ASSERT_EQ(before.size(), card.size());
    EXPECT_EQ(before, card);
    const Cube cube(kExamples + "/effects/warm-afternoon.cube");
    ASSERT_EQ(cube.size, 4);
    int compared = 0;
    for (int y = 5; y < before.height(); y += 17) {
        for (int x = 3; x < before.width(); x += 23) {
            const QRgb expected = cube.apply(before.pixel(x, y));
            const QRgb actual = after.pixel(x, y);
            EXPECT_LE(std::abs(qRed(expected) - qRed(actual)), 2) << x << "," << y;
            EXPECT_LE(std::abs(qGreen(expected) - qGreen(actual)), 2) << x << "," << y;
            EXPECT_LE(std::abs(qBlue(expected) - qBlue(actual)), 2) << x << "," << y;
            ++compared;
        }
    }
    EXPECT_GT(compared, 50);
    EXPECT_NE(before, after);
}

TEST_F(PreviewTest, FrameOptionShowsColourEffectsOnTheGivenPicture) {
    const auto cards = htmlCards(sheet(example, {"--frame", kExamples + "/media/sunset.jpg"}));
    const auto* lut = cardOf(cards, "LUT effect");
    ASSERT_TRUE(lut);
    const QImage before = lut->pictures[1].second;
    EXPECT_EQ(before.width(), Cli::Preview::ReferenceFrame::kWidth);
    const QImage sunset(kExamples + "/media/sunset.jpg");
    EXPECT_EQ(before.height(), sunset.height() * before.width() / sunset.width());
    EXPECT_GT(TestSupport::psnr(before, sunset.scaled(before.size(), Qt::IgnoreAspectRatio,
                                                      Qt::SmoothTransformation)),
              25.0);

    const auto missing = tool(
        {"preview", example, "-o", dir.filePath("x.html"), "--frame", dir.filePath("none.png")});
    EXPECT_EQ(missing.code, 1);
    EXPECT_TRUE(missing.errors.contains("none.png")) << missing.errors.toStdString();
}

TEST_F(PreviewTest, PngSheetHasOneFramedCardPerItem) {
    const QString output = dir.filePath("sheet.png");
    ASSERT_EQ(tool({"preview", example, "-o", output}).code, 0);
    const QImage image(output);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.width(), Cli::Preview::PngSheetPainter::kWidth);
    EXPECT_EQ(PreviewSupport::countFrames(image, Cli::Preview::PngSheetPainter::frameColour(), 200),
              PreviewSupport::itemCount(example));
}

TEST_F(PreviewTest, TextsFromThePackageAreEscaped) {
    const QString package = build(QJsonArray{QJsonObject{
        {"kind", "lut-effect"},
        {"title", "<img src=x onerror=alert(1)>"},
        {"description", "Tom & \"Jerry\" 'quoted'"},
        {"lut", "effects/warm-afternoon.cube"},
        {"categories", QJsonArray{"<b>bold</b>"}},
    }});
    const QString page = sheet(package);
    EXPECT_FALSE(page.contains("<img src=x"));
    EXPECT_FALSE(page.contains("<b>bold"));
    EXPECT_TRUE(page.contains("&lt;img src=x onerror=alert(1)&gt;"));
    EXPECT_TRUE(page.contains("Tom &amp; &quot;Jerry&quot; &#39;quoted&#39;"));
    EXPECT_TRUE(page.contains("&lt;b&gt;bold&lt;/b&gt;"));
}

TEST_F(PreviewTest, DamagedPackageShowsVerifysProblemsAndKeepsEveryCard) {
    const QString damaged = dir.filePath("damaged.qpack");
    ASSERT_TRUE(QFile::copy(example, damaged));
    int code = 0;
    zip_t* archive = zip_open(QFile::encodeName(damaged).constData(), 0, &code);
    ASSERT_TRUE(archive);
    const zip_int64_t index = zip_name_locate(archive, "resources/wipe-mask.png", 0);
    ASSERT_GE(index, 0);
    zip_delete(archive, zip_uint64_t(index));
    ASSERT_EQ(zip_close(archive), 0);

    const QString page = sheet(damaged);
    EXPECT_FALSE(page.contains("verify finds no problem"));
    EXPECT_TRUE(page.contains("resource &#39;resources/wipe-mask.png&#39; is not in the package"))
        << page.left(4000).toStdString();
    const auto cards = htmlCards(page);
    EXPECT_EQ(cards.size(), htmlCards(html).size());
    const auto* mask = cardOf(cards, "Mask transition");
    ASSERT_TRUE(mask);
    EXPECT_TRUE(mask->markup.contains("<td>wipe-mask.png</td><td>media</td><td>missing</td>"));
    EXPECT_TRUE(mask->markup.contains("resources/wipe-mask.png: not in the package"));
}

TEST_F(PreviewTest, LargeStoredVideoIsReadInPlaceFromTheArchive) {
    // A video past the size that is unpacked: made by the ffmpeg program, bit-exact.
    const QString video = dir.filePath("media/big.mp4");
    QDir().mkpath(dir.filePath("media"));
    const int made = TestSupport::run(
        "ffmpeg",
        {"-v", "error", "-f", "lavfi", "-i", "testsrc2=size=640x360:rate=25:duration=4", "-c:v",
         "mpeg4", "-q:v", "1", "-flags", "+bitexact", "-fflags", "+bitexact", video});
    ASSERT_EQ(made, 0);
    ASSERT_GT(QFileInfo(video).size(), Cli::Preview::PackageSource::kKeptBytes);
    const QString package = build(QJsonArray{QJsonObject{
        {"kind", "import"}, {"title", "Big"}, {"file", "media/big.mp4"}, {"importKind", "video"}}});

    QTemporaryDir folder;
    const Cli::Preview::PackageSource source(package, folder.path());
    EXPECT_FALSE(QFileInfo::exists(folder.filePath("resources/big.mp4")));
    EXPECT_TRUE(QFileInfo::exists(folder.filePath("package.xml")));
    const auto device = source.open("resources/big.mp4");
    ASSERT_TRUE(device);
    ASSERT_TRUE(device->seek(1000));
    EXPECT_EQ(device->read(64), TestSupport::readFile(video).mid(1000, 64));

    const QString page = sheet(package);
    // verify's checks see the video in the archive although the sheet never unpacked it.
    EXPECT_TRUE(page.contains("verify finds no problem"));
    const auto cards = htmlCards(page);
    const auto* card = cardOf(cards, "Video import");
    ASSERT_TRUE(card);
    EXPECT_EQ(captions(*card), QStringList({"preview", "start", "middle", "end"}));
    EXPECT_TRUE(card->markup.contains("duration 4.00 s"));
    // testsrc2 moves: the three frames differ.
    EXPECT_NE(card->pictures[1].second, card->pictures[2].second);
    EXPECT_NE(card->pictures[2].second, card->pictures[3].second);
}

TEST_F(PreviewTest, AudioImportShowsItsWaveformOverTime) {
    // A second of silence, then a second of a loud tone.
    QDir().mkpath(dir.filePath("media"));
    ASSERT_EQ(TestSupport::run("ffmpeg", {"-v", "error", "-f", "lavfi", "-i",
                                          "aevalsrc=if(lt(t\\,1)\\,0\\,0.8*sin(2*PI*440*t)):d=2",
                                          "-c:a", "pcm_s16le", dir.filePath("media/tone.wav")}),
              0);
    const QString package = build(QJsonArray{QJsonObject{{"kind", "import"},
                                                         {"title", "Tone"},
                                                         {"file", "media/tone.wav"},
                                                         {"importKind", "audio"}}});
    const auto cards = htmlCards(sheet(package));
    const auto* card = cardOf(cards, "Audio import");
    ASSERT_TRUE(card);
    ASSERT_EQ(captions(*card), QStringList({"preview", "waveform"}));
    EXPECT_TRUE(card->markup.contains("duration 2.00 s"));
    const QImage wave = card->pictures[1].second;
    const auto barHeight = [&](int x) {
        const QRgb background = wave.pixel(0, 0);
        int height = 0;
        for (int y = 0; y < wave.height(); ++y)
            height += wave.pixel(x, y) != background;
        return height;
    };
    EXPECT_LE(barHeight(wave.width() / 4), 3);
    EXPECT_GE(barHeight(wave.width() * 3 / 4), wave.height() * 6 / 10);
}

TEST_F(PreviewTest, WrongCommandLinesAreRefusedWithoutWritingASheet) {
    const auto suffix = tool({"preview", example, "-o", dir.filePath("sheet.pdf")});
    EXPECT_EQ(suffix.code, 2);
    EXPECT_TRUE(suffix.errors.contains("sheet.pdf")) << suffix.errors.toStdString();
    const auto missing = tool({"preview", dir.filePath("none.qpack")});
    EXPECT_EQ(missing.code, 1);
    EXPECT_TRUE(missing.errors.contains("none.qpack"));
    TestSupport::writeFile(dir.filePath("junk.qpack"), "not a zip");
    const auto junk = tool({"preview", dir.filePath("junk.qpack"), "-o", dir.filePath("j.html")});
    EXPECT_EQ(junk.code, 1);
    EXPECT_TRUE(junk.errors.contains("junk.qpack")) << junk.errors.toStdString();
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("j.html")));
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("sheet.pdf")));
}

}  // namespace
