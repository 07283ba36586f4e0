#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "checks_corpus.h"
#include "test_support.h"

// `packwright check`, and `build` stopping before it writes anything, on a corpus of broken inputs
// made here.

namespace {

using TestSupport::tool;
using TestSupport::writeFile;

const QString kSource = QStringLiteral(PACKWRIGHT_SOURCE_DIR);

using ChecksCorpus::pngBytes;
using ChecksCorpus::rows;
using ChecksCorpus::wav;

QStringList entries(const QString& folder) {
    return QDir(folder).entryList(QDir::NoDotAndDotDot | QDir::AllEntries, QDir::Name);
}

}  // namespace

TEST(CheckCommand, EachBrokenInputIsReportedByCheckAndStopsBuildBeforeAnythingIsWritten) {
    for (const ChecksCorpus::Broken& broken : ChecksCorpus::brokenInputs()) {
        QTemporaryDir dir;
        ChecksCorpus::writeRecipe(dir.path(), broken);
        const QStringList before = entries(dir.path());

        QDir::setCurrent(dir.path());
        const TestSupport::ToolResult checked = tool({"check", "recipe.json"});
        EXPECT_EQ(checked.code, 1) << broken.what;
        EXPECT_TRUE(checked.output.contains(broken.finding))
            << broken.what << "\n got: " << checked.output.toStdString();

        const TestSupport::ToolResult built = tool({"build", "recipe.json"});
        EXPECT_EQ(built.code, 1) << broken.what;
        EXPECT_TRUE(built.errors.contains("packwright: " + broken.finding))
            << broken.what << "\n got: " << built.errors.toStdString();
        EXPECT_TRUE(built.errors.contains("the content checks found")) << broken.what;
        EXPECT_EQ(entries(dir.path()), before) << broken.what;  // no package, no temporaries
    }
}

TEST(CheckCommand, IdenticalFilesOfOneNameShareTheirResource) {
    QTemporaryDir dir;
    writeFile(dir.filePath("a/logo.png"), pngBytes());
    writeFile(dir.filePath("b/logo.png"), pngBytes());
    writeFile(dir.filePath("a/look.cube"), "LUT_3D_SIZE 2\n" + rows(8));
    writeFile(dir.filePath("b/look.cube"), "LUT_3D_SIZE 2\n" + rows(8));
    writeFile(dir.filePath("recipe.json"), R"({"name": "Same", "components": [
        {"kind": "import", "path": "a/logo.png", "importType": "image"},
        {"kind": "import", "path": "b/logo.png", "importType": "image"},
        {"kind": "lut-effect", "lut": "a/look.cube"}, {"kind": "lut-effect", "lut": "b/look.cube"}]})");
    const TestSupport::ToolResult checked = tool({"check", dir.filePath("recipe.json")});
    EXPECT_EQ(checked.code, 0) << checked.output.toStdString();
    EXPECT_TRUE(checked.output.endsWith(": clean\n")) << checked.output.toStdString();
}

TEST(CheckCommand, JsonFindingsExitCodesAndStrictWarnings) {
    QTemporaryDir dir;
    writeFile(dir.filePath("nan.cube"), "LUT_3D_SIZE 2\n" + rows(7) + "nan 0 0\n");
    const QString recipe = dir.filePath("recipe.json");
    writeFile(recipe, R"({"name": "Warned", "output": "out.qpack", "components": [
        {"kind": "lut-effect", "lut": "nan.cube"}, {"kind": "lutt"}]})");

    // A warning and a component that does not read: both are findings, with their places.
    const TestSupport::ToolResult checked = tool({"check", recipe, "--json"});
    EXPECT_EQ(checked.code, 1);
    const QJsonObject json = QJsonDocument::fromJson(checked.output.toUtf8()).object();
    EXPECT_EQ(json.value("errors").toInt(), 1);
    EXPECT_EQ(json.value("warnings").toInt(), 1);
    const QJsonArray findings = json.value("findings").toArray();
    ASSERT_EQ(findings.size(), 2) << checked.output.toStdString();
    EXPECT_EQ(findings[0].toObject(),
              (QJsonObject{{"severity", "error"},
                           {"component", 1},
                           {"field", "kind"},
                           {"message", findings[0].toObject().value("message")}}));
    EXPECT_TRUE(
        findings[0].toObject().value("message").toString().startsWith("unknown kind 'lutt'"));
    EXPECT_EQ(findings[1].toObject(), (QJsonObject{{"severity", "warning"},
                                                   {"component", 0},
                                                   {"field", "lut"},
                                                   {"file", "nan.cube"},
                                                   {"line", 9},
                                                   {"message", "value nan is not a number"}}));

    // Warnings alone: check passes and build goes on, unless --strict.
    writeFile(recipe, R"({"name": "Warned", "output": "out.qpack", "components": [
        {"kind": "lut-effect", "lut": "nan.cube"}]})");
    EXPECT_EQ(tool({"check", recipe}).code, 0);
    const TestSupport::ToolResult strict = tool({"build", recipe, "--strict"});
    EXPECT_EQ(strict.code, 1);
    EXPECT_TRUE(strict.errors.contains("the content checks found 1 problem: nothing was written"))
        << strict.errors.toStdString();
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("out.qpack")));
    const TestSupport::ToolResult built = tool({"build", recipe});
    EXPECT_EQ(built.code, 0) << built.errors.toStdString();
    EXPECT_TRUE(built.errors.contains("(nan.cube:9): warning: value nan is not a number"));
    EXPECT_TRUE(QFileInfo(dir.filePath("out.qpack")).isFile());

    // Nothing to check: exit code 2.
    EXPECT_EQ(tool({"check"}).code, 2);
    EXPECT_EQ(tool({"check", dir.filePath("missing.json")}).code, 2);
    writeFile(recipe, "{");
    EXPECT_EQ(tool({"check", recipe}).code, 2);
}

TEST(CheckCommand, TheBundledExamplesCheckClean) {
    const QStringList recipes =
        QDir(kSource + "/examples").entryList({"*.json"}, QDir::Files, QDir::Name);
    ASSERT_FALSE(recipes.isEmpty());
    for (const QString& recipe : recipes) {
        const TestSupport::ToolResult checked = tool({"check", kSource + "/examples/" + recipe});
        EXPECT_EQ(checked.code, 0) << recipe.toStdString() << checked.output.toStdString();
        EXPECT_TRUE(checked.output.endsWith(": clean\n"))
            << recipe.toStdString() << ": " << checked.output.toStdString();
    }
}

TEST(CheckCommand, MediaIsProbedForWhatItsComponentUsesItAs) {
    const QByteArray video = TestSupport::readFile(kSource + "/examples/media/beach.mp4");
    struct Case {
        QByteArray component;
        QString name;
        QByteArray data;
        QString finding;  // "" when clean
    };
    const Case cases[] = {
        {R"({"kind": "import", "path": "m/song.wav"})", "m/song.wav", wav(),
         "components[0].path (m/song.wav): error: has no video stream (it holds audio)"},
        {R"({"kind": "import", "path": "m/song.wav", "importType": "audio"})", "m/song.wav", wav(),
         ""},
        {R"({"kind": "import", "path": "m/clip.mp4", "importType": "audio"})", "m/clip.mp4", video,
         "components[0].path (m/clip.mp4): error: has no audio stream (it holds video)"},
        {R"({"kind": "mask-transition", "source": "m/mask.mp4"})", "m/mask.mp4", video,
         "components[0].source (m/mask.mp4): error: not an image that decodes"},
        {R"({"kind": "overlay-transition", "source": "m/empty.mp4"})", "m/empty.mp4", "",
         "components[0].source (m/empty.mp4): error: not a media file with video"},
        {R"({"kind": "import", "path": "m/cut.mp4"})", "m/cut.mp4", video.left(video.size() / 3),
         "components[0].path (m/cut.mp4): error: the file is cut off: its video runs to byte "},
        {R"({"kind": "import", "path": "m/still.png"})", "m/still.png", pngBytes(),
         "components[0].path (m/still.png): error: its video has no duration above zero"},
        {R"({"kind": "import", "path": "m/clip.mp4"})", "m/clip.mp4", video, ""},
        // A playlist in a video's clothes is refused, not followed to what it names.
        {R"({"kind": "import", "path": "m/list.mp4"})", "m/list.mp4",
         "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10,\n/etc/hostname.ts\n#EXT-X-ENDLIST\n",
         "components[0].path (m/list.mp4): error: not a media file with video: Can not open "
         "media file '"},
    };
    for (const Case& c : cases) {
        QTemporaryDir dir;
        writeFile(dir.filePath(c.name), c.data);
        writeFile(dir.filePath("recipe.json"),
                  R"({"name": "Media", "components": [)" + c.component + "]}");
        QDir::setCurrent(dir.path());
        const TestSupport::ToolResult checked = tool({"check", "recipe.json"});
        if (c.finding.isEmpty()) {
            EXPECT_EQ(checked.code, 0) << checked.output.toStdString();
            EXPECT_EQ(checked.output, "recipe.json: clean\n");
        } else {
            EXPECT_EQ(checked.code, 1) << c.component.toStdString();
            EXPECT_TRUE(checked.output.startsWith("recipe.json: " + c.finding))
                << c.component.toStdString() << "\n got: " << checked.output.toStdString();
            if (c.name == "m/list.mp4") {
                EXPECT_TRUE(
                    checked.output.contains("': names other files (Apple HTTP Live "
                                            "Streaming); only the file itself is read"))
                    << checked.output.toStdString();
            }
        }
    }
}

TEST(CheckCommand, NamesThatDifferInCaseWarnAndTheRecipePreviewMustBeAnImage) {
    QTemporaryDir dir;
    writeFile(dir.filePath("a/Logo.png"), pngBytes());
    writeFile(dir.filePath("b/logo.png"), pngBytes() + "x");
    writeFile(dir.filePath("clip.mp4"),
              TestSupport::readFile(kSource + "/examples/media/beach.mp4"));
    writeFile(dir.filePath("recipe.json"),
              R"({"name": "Case", "previewPath": "clip.mp4", "components": [
        {"kind": "import", "path": "a/Logo.png", "importType": "image"},
        {"kind": "import", "path": "b/logo.png", "importType": "image"}]})");
    QDir::setCurrent(dir.path());
    const TestSupport::ToolResult checked = tool({"check", "recipe.json"});
    EXPECT_EQ(checked.code, 1);
    EXPECT_EQ(checked.output.split('\n').mid(0, 2),
              (QStringList{"recipe.json: previewPath (clip.mp4): error: not an image that decodes: "
                           "is not a readable image: Unsupported image format",
                           "recipe.json: components[1].path (b/logo.png): warning: resources "
                           "'Logo.png' and 'logo.png' differ only in case: a/Logo.png "
                           "(components[0].path) and b/logo.png (components[1].path) clash on a "
                           "file system that ignores case"}))
        << checked.output.toStdString();
}

TEST(CheckCommand, TimelinesThatPlayWronglyAreWarnings) {
    QTemporaryDir dir;
    const QByteArray outside = R"("rect": {"x": 1.2, "y": 0.1, "width": 0.3, "height": 0.2})";
    writeFile(dir.filePath("media/t.json"), R"({"tracks": ["main", "titles"], "clips": [
        {"track": 1, "content": "overlay", "position": 0, "length": 0,
         "overlay": {"duration": 1000, "items": [{"content": "Hi"}]}},
        {"track": 1, "content": "overlay", "position": 0, "length": 1000,
         "overlay": {"duration": 1000, "items": [{"content": "In"}, {"content": "Out", )" +
                                                outside + R"(},
             {"content": "Moves in", )" + outside +
                                                R"(,
              "keyframes": [{"step": 0, "x": 0.5}, {"step": 1, "x": -0.5}]}]}}]})");
    writeFile(dir.filePath("recipe.json"), R"({"name": "Timing", "output": "out.qpack",
        "components": [{"kind": "overlay", "timeline": "media/t.json"},
                       {"kind": "intermediate-overlay", "timeline": "media/t.json",
                        "useMediaTiming": true}]})");
    QDir::setCurrent(dir.path());
    const QStringList expected = {
        "recipe.json: components[0].timeline: warning: media/t.json: clips[0].length: a clip of "
        "zero length: the fractions that place its keyframes and fades are undefined",
        "recipe.json: components[0].timeline: warning: media/t.json: clips[1].overlay.items[1]: "
        "the item lies outside the scene (x 1.2 to 1.5, y 0.1 to 0.3, in fractions of the scene)",
        "recipe.json: components[1].useMediaTiming: warning: an intermediate overlay cannot keep "
        "its videos' own timing"};

    const TestSupport::ToolResult checked = tool({"check", "recipe.json"});
    EXPECT_EQ(checked.code, 0) << checked.output.toStdString();
    // The timeline is read by both components: its warnings come with each.
    for (const QString& line : expected)
        EXPECT_TRUE(checked.output.contains(line))
            << line.toStdString() << "\n got: " << checked.output.toStdString();
    EXPECT_FALSE(checked.output.contains("items[2]")) << checked.output.toStdString();
    EXPECT_TRUE(checked.output.endsWith("recipe.json: 0 errors, 5 warnings\n"))
        << checked.output.toStdString();

    const TestSupport::ToolResult strict = tool({"build", "recipe.json", "--strict"});
    EXPECT_EQ(strict.code, 1);
    EXPECT_TRUE(strict.errors.contains("clips[0].length: a clip of zero length"))
        << strict.errors.toStdString();
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("out.qpack")));
}

TEST(CheckCommand, FormatsTheEditorDoesNotPlayAreWarnings) {
    // A Sun audio file, 16-bit big-endian samples: a container outside the list.
    QByteArray au = ".snd";
    for (quint32 v : {24u, 8000u, 3u, 8000u, 1u})
        for (int i = 3; i >= 0; --i)
            au += char((v >> (8 * i)) & 0xff);
    au += QByteArray(8000, '\0');
    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(Qt::red);
    QTemporaryDir dir;
    ASSERT_TRUE(QDir().mkpath(dir.filePath("m")));
    ASSERT_TRUE(image.save(dir.filePath("m/still.ppm"), "PPM"));
    writeFile(dir.filePath("m/sun.au"), au);
    writeFile(dir.filePath("m/alaw.wav"), wav(6));
    writeFile(dir.filePath("m/song.wav"), wav());
    writeFile(dir.filePath("recipe.json"), R"({"name": "Formats", "components": [
        {"kind": "import", "path": "m/sun.au", "importType": "audio"},
        {"kind": "import", "path": "m/alaw.wav", "importType": "audio"},
        {"kind": "import", "path": "m/still.ppm", "importType": "image"},
        {"kind": "import", "path": "m/song.wav", "importType": "audio"}]})");
    QDir::setCurrent(dir.path());
    const TestSupport::ToolResult checked = tool({"check", "recipe.json"});
    EXPECT_EQ(checked.code, 0) << checked.output.toStdString();
    const QStringList lines = checked.output.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 4) << checked.output.toStdString();
    EXPECT_TRUE(
        lines[0].startsWith("recipe.json: components[0].path (m/sun.au): warning: its "
                            "container (Sun AU) is not one the editor plays audio from"))
        << lines[0].toStdString();
    EXPECT_EQ(lines[1],
              "recipe.json: components[1].path (m/alaw.wav): warning: its audio codec "
              "(pcm_alaw) is not one the editor plays");
    EXPECT_EQ(lines[2],
              "recipe.json: components[2].path (m/still.ppm): warning: its image "
              "format (ppm) is not one the editor shows");
    EXPECT_EQ(lines[3], "recipe.json: 0 errors, 3 warnings");
}
