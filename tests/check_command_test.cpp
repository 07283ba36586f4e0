#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "test_support.h"

// `packwright check`, and `build` stopping before it writes anything, on a corpus of broken inputs
// made here.

namespace {

using TestSupport::tool;
using TestSupport::writeFile;

const QString kSource = QStringLiteral(PACKWRIGHT_SOURCE_DIR);

QByteArray rows(int count, const QByteArray& value = "0.5 0.5 0.5") {
    QByteArray table;
    for (int i = 0; i < count; ++i)
        table += value + "\n";
    return table;
}

QByteArray pngBytes() {
    return TestSupport::readFile(kSource + "/examples/preview.png");
}

QStringList entries(const QString& folder) {
    return QDir(folder).entryList(QDir::NoDotAndDotDot | QDir::AllEntries, QDir::Name);
}

}  // namespace
namespace {

// One broken input: the files it needs (beside the recipe), its components, and the finding that
// `check` and `build` must both print.
struct Broken {
    const char* what;
    std::vector<std::pair<QString, QByteArray>> files;
    QByteArray components;
    QString finding;
};

QByteArray shader(const QByteArray& body) {
    return "#version 120\nuniform sampler2D source;\nvarying vec2 texCoord;\n" + body;
}

QByteArray timeline(const QStringList& videos) {
    QByteArray clips;
    for (int i = 0; i < videos.size(); ++i)
        clips += QStringLiteral(R"(%1{"track": 1, "position": %2, "length": 1000,
                 "media": {"source": "%3"}})")
                     .arg(i ? "," : "")
                     .arg(i * 1000)
                     .arg(videos[i])
                     .toUtf8();
    return R"({"tracks": ["main", "picture"], "primaryTrack": 0, "clips": [)" + clips + "]}";
}

std::vector<Broken> brokenInputs() {
    const QByteArray warm =
        TestSupport::readFile(kSource + "/examples/effects/warm-afternoon.cube");
    const QByteArray video = TestSupport::readFile(kSource + "/examples/media/beach.mp4");
    return {
        {"a LUT with a row too few",
         {{"looks/warm.cube", "TITLE \"w\"\nLUT_3D_SIZE 2\n" + rows(7)}},
         R"([{"kind": "lut-effect", "lut": "looks/warm.cube"}])",
         "recipe.json: components[0].lut (looks/warm.cube:2): error: the table has 7 rows"},
        {"a PNG named .cube",
         {{"looks/fake.cube", pngBytes()}},
         R"([{"kind": "import", "file": "looks/fake.cube"},
             {"kind": "lut-effect", "lut": "looks/fake.cube"}])",
         "recipe.json: components[1].lut (looks/fake.cube): error: not a text file"},
        {"a shader with a syntax error",
         {{"fx/broken.frag",
           shader("void main() {\n  gl_FragColor = texture2D(source, texCoord)\n}\n")}},
         R"([{"kind": "shader-effect", "shader": "fx/broken.frag"}])",
         "recipe.json: components[0].shader (fx/broken.frag:6): error: does not compile: "},
        {"a shader transition sampling an aux image it is not given",
         {{"fx/aux.frag", shader("uniform sampler2D auxImage;\nvoid main() { gl_FragColor = "
                                 "texture2D(auxImage, texCoord); }\n")}},
         R"([{"kind": "shader-transition", "shader": "fx/aux.frag"}])",
         "recipe.json: components[0].shader (fx/aux.frag:4): error: the shader samples auxImage"},
        {"two logos of one name",
         {{"a/logo.png", pngBytes()}, {"b/logo.png", pngBytes() + "x"}},
         R"([{"kind": "import", "file": "a/logo.png", "importKind": "image"},
             {"kind": "import", "file": "b/logo.png", "importKind": "image"}])",
         "recipe.json: components[1].file (b/logo.png): error: two different files would land at "
         "resource 'logo.png': a/logo.png (components[0].file) and b/logo.png "
         "(components[1].file)"},
        {"two LUTs of one name in different folders",
         {{"warm.cube", warm}, {"old/warm.cube", "LUT_3D_SIZE 2\n" + rows(8)}},
         R"([{"kind": "lut-effect", "lut": "warm.cube"},
             {"kind": "shader-effect", "shader": "fx.frag"},
             {"kind": "lut-effect", "lut": "old/warm.cube"}])",
         "recipe.json: components[2].lut (old/warm.cube): error: two different files would land "
         "at resource 'warm.cube': warm.cube (components[0].lut)"},
        {"two clips whose stills share a name",
         {{"media/spot.mp4", video},
          {"media/spot.mov", video + "x"},
          {"media/title.json", timeline({"spot.mp4", "spot.mov"})}},
         R"([{"kind": "overlay", "timeline": "media/title.json"}])",
         "recipe.json: components[0].timeline (media/spot.mov): error: two different files would "
         "land at resource 'spot_preview.png': the still of media/spot.mp4 "
         "(components[0].timeline) "
         "and the still of media/spot.mov (components[0].timeline)"},
    };
}

}  // namespace

TEST(CheckCommand, EachBrokenInputIsReportedByCheckAndStopsBuildBeforeAnythingIsWritten) {
    for (const Broken& broken : brokenInputs()) {
        QTemporaryDir dir;
        for (const auto& file : broken.files)
            writeFile(dir.filePath(file.first), file.second);
        const QString recipe = dir.filePath("recipe.json");
        writeFile(recipe, R"({"name": "Broken", "output": "out.qpack", "components": )" +
                              broken.components + "}");
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
        {"kind": "import", "file": "a/logo.png", "importKind": "image"},
        {"kind": "import", "file": "b/logo.png", "importKind": "image"},
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

namespace {

// Half a second of silence as a 16-bit mono WAV file.
QByteArray wav() {
    const quint32 rate = 8000;
    const quint32 bytes = rate;  // 0.5 s of 16-bit samples
    QByteArray data;
    auto u32 = [&](quint32 v) {
        for (int i = 0; i < 4; ++i)
            data += char((v >> (8 * i)) & 0xff);
    };
    auto u16 = [&](quint16 v) {
        data += char(v & 0xff);
        data += char(v >> 8);
    };
    data += "RIFF";
    u32(36 + bytes);
    data += "WAVEfmt ";
    u32(16);
    u16(1);
    u16(1);
    u32(rate);
    u32(rate * 2);
    u16(2);
    u16(16);
    data += "data";
    u32(bytes);
    return data + QByteArray(int(bytes), '\0');
}

}  // namespace

TEST(CheckCommand, MediaIsProbedForWhatItsComponentUsesItAs) {
    const QByteArray video = TestSupport::readFile(kSource + "/examples/media/beach.mp4");
    struct Case {
        QByteArray component;
        QString name;
        QByteArray data;
        QString finding;  // "" when clean
    };
    const Case cases[] = {
        {R"({"kind": "import", "file": "m/song.wav"})", "m/song.wav", wav(),
         "components[0].file (m/song.wav): error: has no video stream (it holds audio)"},
        {R"({"kind": "import", "file": "m/song.wav", "importKind": "audio"})", "m/song.wav", wav(),
         ""},
        {R"({"kind": "import", "file": "m/clip.mp4", "importKind": "audio"})", "m/clip.mp4", video,
         "components[0].file (m/clip.mp4): error: has no audio stream (it holds video)"},
        {R"({"kind": "mask-transition", "source": "m/mask.mp4"})", "m/mask.mp4", video,
         "components[0].source (m/mask.mp4): error: not an image that decodes"},
        {R"({"kind": "overlay-transition", "source": "m/empty.mp4"})", "m/empty.mp4", "",
         "components[0].source (m/empty.mp4): error: not a media file with video"},
        {R"({"kind": "import", "file": "m/cut.mp4"})", "m/cut.mp4", video.left(video.size() / 3),
         "components[0].file (m/cut.mp4): error: the file is cut off: its video runs to byte "},
        {R"({"kind": "import", "file": "m/still.png"})", "m/still.png", pngBytes(),
         "components[0].file (m/still.png): error: its video has no duration above zero"},
        {R"({"kind": "import", "file": "m/clip.mp4"})", "m/clip.mp4", video, ""},
        // A playlist in a video's clothes is refused, not followed to what it names.
        {R"({"kind": "import", "file": "m/list.mp4"})", "m/list.mp4",
         "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10,\n/etc/hostname.ts\n#EXT-X-ENDLIST\n",
         "components[0].file (m/list.mp4): error: not a media file with video: Can not open "
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
              R"({"name": "Case", "preview": "clip.mp4", "components": [
        {"kind": "import", "file": "a/Logo.png", "importKind": "image"},
        {"kind": "import", "file": "b/logo.png", "importKind": "image"}]})");
    QDir::setCurrent(dir.path());
    const TestSupport::ToolResult checked = tool({"check", "recipe.json"});
    EXPECT_EQ(checked.code, 1);
    EXPECT_EQ(checked.output.split('\n').mid(0, 2),
              (QStringList{"recipe.json: preview (clip.mp4): error: not an image that decodes: "
                           "is not a readable image: Unsupported image format",
                           "recipe.json: components[1].file (b/logo.png): warning: resources "
                           "'Logo.png' and 'logo.png' differ only in case: a/Logo.png "
                           "(components[0].file) and b/logo.png (components[1].file) clash on a "
                           "file system that ignores case"}))
        << checked.output.toStdString();
}
