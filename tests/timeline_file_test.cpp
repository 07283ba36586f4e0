#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFileInfo>
#include <QTemporaryDir>
#include <cmath>
#include <tuple>

#include "cli/cli_error.h"
#include "cli/timeline_file.h"
#include "platform/model/video_effect.h"
#include "platform/serialize/archive.h"
#include "test_support.h"

namespace {

// Every feature of the format once, with a relative and an absolute media path.
const QByteArray kFull = R"({
  "scene": {"width": 1280, "height": 720},
  "tracks": ["Main", "Titles"],
  "primaryTrack": 0,
  "clips": [
    {"track": 0, "content": "video", "position": 0, "length": 4000, "inPoint": 500,
     "contentLength": 6000,
     "media": {"source": "media/../media/beach.mp4",
               "streams": [{"type": "video", "width": 1920, "height": 1080}, {"type": "audio"}]},
     "effects": [{"type": "picture-in-picture",
                  "rect": {"x": 0.1, "y": 0.2, "width": 0.5, "height": 0.25}},
                 {"type": "side-by-side"}],
     "keyframes": [{"step": 0, "x": 0.2, "opacity": 0}, {"step": 1, "rotation": 90}]},
    {"track": 1, "content": "overlay", "position": 1000, "length": 2000,
     "overlay": {"kind": "sticker", "name": "Hello", "duration": 2000,
                 "items": [{"name": "greeting", "kind": "text", "content": "Hi",
                            "begin": 0.1, "end": 0.9, "fadeIn": 0.2, "fadeOut": 0.3,
                            "matrix": [2, 0, 0, 0, 2, 0, 0.5, 0.5, 1],
                            "keyframes": [{"step": 0.5, "scaleX": 2}]},
                           {"kind": "video", "resource": "{r}:1"}]}},
    {"track": 0, "content": "image", "position": 4000, "length": 1000,
     "media": {"source": "/abs/still.png"}}
  ]
})";

// The whole content of a timeline, to compare two of them.
QByteArray xmlOf(const Timeline::Object& timeline) {
    Serialize::MemoryContent content;
    return Serialize::writeArchive(timeline, content);
}

Timeline::Object parse(const QByteArray& json) {
    return Cli::TimelineFile::parse(json, "/home/u/pack/intro.json");
}

// The message of parsing a timeline named "intro.json", or "" when it is accepted.
QString errorOf(const QByteArray& json) {
    try {
        Cli::TimelineFile::parse(json, "intro.json");
    } catch (const Cli::Error& error) {
        return QString::fromUtf8(error.what());
    }
    return QString();
}

// A timeline with two tracks and the given clip.
QByteArray withClip(const QByteArray& clip) {
    return R"({"tracks": ["a", "b"], "clips": [)" + clip + "]}";
}

// Every file under a folder, relative to it and sorted.
QStringList tree(const QString& folder) {
    QStringList files;
    QDirIterator it(folder, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        files << QDir(folder).relativeFilePath(it.next());
    files.sort();
    return files;
}

// A recipe folder with one media file, an intro timeline that uses it and a recipe for it.
struct RecipeFolder {
    QTemporaryDir dir;
    QString recipe = dir.filePath("recipe.json");

    explicit RecipeFolder(const QByteArray& timeline) {
        TestSupport::writeFile(dir.filePath("media/clip.mp4"), "frames");
        TestSupport::writeFile(dir.filePath("intro.json"), timeline);
        TestSupport::writeFile(recipe, R"({"name": "Intro Pack", "components": [
            {"kind": "intro", "timeline": "intro.json", "title": "Opening"}]})");
    }
};

}  // namespace

TEST(TimelineFile, ReadsEveryFeatureIntoTheTimeline) {
    const Timeline::Object timeline = parse(kFull);
    EXPECT_EQ(timeline.sceneSize(), QSizeF(1280, 720));
    ASSERT_EQ(timeline.tracks().size(), 2u);
    EXPECT_EQ(timeline.tracks()[1].name, "Titles");
    EXPECT_EQ(timeline.primaryTrackIndex(), 0);
    ASSERT_EQ(timeline.clips().size(), 3u);

    const Timeline::Clip& video = *timeline.clips()[0];
    EXPECT_EQ(video.timing, (Timeline::ClipTiming{0, 6000, 500, 4000, Timeline::VideoContent}));
    EXPECT_EQ(video.media.sourcePath, "/home/u/pack/media/beach.mp4");
    EXPECT_EQ(video.media.streams,
              (std::vector<Timeline::StreamDescription>{{1, 1920, 1080}, {2, 0, 0}}));
    ASSERT_EQ(video.effects().size(), 2u);
    const auto* pip = dynamic_cast<const Effect::PictureInPicture*>(video.effects()[0].get());
    ASSERT_NE(pip, nullptr);
    EXPECT_EQ(pip->transform, Types::Transform(0.5, 0, 0, 0, 0.25, 0, 0.1, 0.2, 1));
    EXPECT_EQ(std::tie(video.effects()[1]->id, video.effects()[1]->group),
              std::tie(Effect::Id::SideBySide, Effect::Group::GroupPip));
    ASSERT_NE(video.envelope(), nullptr);
    const auto& keys = video.envelope()->keys;
    ASSERT_EQ(keys.size(), 2u);
    // Values a key does not give keep their defaults (y is 0.5).
    EXPECT_EQ(std::tie(keys[0].step, keys[0].value.x, keys[0].value.y, keys[0].value.opacity),
              std::make_tuple(0.0, 0.2, 0.5, 0.0));
    EXPECT_EQ(std::tie(keys[1].step, keys[1].value.rotation), std::make_tuple(1.0, 90.0));
    EXPECT_EQ(video.overlayPreset(), nullptr);

    // Without "contentLength" the content is the in-point plus the length.
    const Timeline::Clip& title = *timeline.clips()[1];
    EXPECT_EQ(title.track, 1);
    EXPECT_EQ(title.timing, (Timeline::ClipTiming{1000, 2000, 0, 2000, Timeline::OverlayContent}));
    EXPECT_TRUE(title.media.sourcePath.isEmpty());
    EXPECT_EQ(title.envelope(), nullptr);
    const Overlay::Preset* preset = title.overlayPreset();
    ASSERT_NE(preset, nullptr);
    EXPECT_EQ(std::tie(preset->kind, preset->name, preset->duration),
              std::make_tuple(Overlay::Preset::Sticker, "Hello", 2000));
    ASSERT_EQ(preset->items.size(), 2u);
    const Overlay::Item& text = preset->items[0];
    EXPECT_EQ(std::tie(text.name, text.kind, text.content),
              std::make_tuple("greeting", Overlay::Item::Text, "Hi"));
    EXPECT_EQ(std::tie(text.begin, text.end, text.firstFraction, text.secondFraction),
              std::make_tuple(0.1, 0.9, 0.2, 0.3));
    EXPECT_EQ(text.transform, Types::Transform(2, 0, 0, 0, 2, 0, 0.5, 0.5, 1));
    ASSERT_EQ(text.envelope.keys.size(), 1u);
    EXPECT_EQ(std::tie(text.envelope.keys[0].step, text.envelope.keys[0].value.scaleX),
              std::make_tuple(0.5, 2.0));
    const Overlay::Item& clipItem = preset->items[1];
    EXPECT_EQ(std::tie(clipItem.kind, clipItem.resource),
              std::make_tuple(Overlay::Item::Video, "{r}:1"));
    EXPECT_EQ(clipItem.transform, Types::Transform());

    EXPECT_EQ(timeline.clips()[2]->timing.contentKind, Timeline::ImageContent);
    EXPECT_EQ(timeline.clips()[2]->media.sourcePath, "/abs/still.png");
}

TEST(TimelineFile, ErrorsNameTheFileAndTheField) {
    const struct {
        QByteArray json;
        const char* message;
    } cases[] = {
        {withClip(R"({"track": 0, "position": 0, "length": -5})"),
         "intro.json: clips[0].length: must not be negative (found -5)"},
        {withClip(R"({"track": 0, "length": 10})"),
         "intro.json: clips[0].position: missing (a whole number is required)"},
        {withClip(R"({"track": 0, "position": 0, "length": "10"})"),
         "intro.json: clips[0].length: expected a whole number, found a string"},
        {withClip(R"({"track": 0, "position": 0, "length": 1, "colour": "red"})"),
         "intro.json: clips[0].colour: unknown field"},
        {withClip(R"({"track": 2, "position": 0, "length": 1})"),
         "intro.json: clips[0].track: 2 is out of range [0, 1]"},
        {withClip(R"({"track": 0, "position": 0, "length": 1, "contentKind": "movie"})"),
         "intro.json: clips[0].contentKind: 'movie' is not one of video, overlay, image, audio"},
        {withClip(R"({"track": 0, "position": 0, "length": 1,
                      "effects": [{"type": "picture-in-picture", "matrix": [1, 0, 0, 1]}]})"),
         "intro.json: clips[0].effects[0].matrix: expected 9 numbers"},
        {withClip(R"({"track": 0, "position": 0, "length": 1,
                      "effects": [{"type": "picture-in-picture",
                                   "matrix": [1, 0, 0, 0, 1, 0, 0, 0, "1"]}]})"),
         "intro.json: clips[0].effects[0].matrix: expected 9 numbers"},
        {withClip(R"({"track": 0, "position": 0, "length": 1, "media": {"source": "a",
                      "streams": [{"type": "video", "fps": 25}]}})"),
         "intro.json: clips[0].media.streams[0].fps: unknown field"},
        // Envelopes look keys up by step, so they must come in order.
        {withClip(R"({"track": 0, "position": 0, "length": 1,
                      "keyframes": [{"step": 1, "x": 1}, {"step": 0, "x": 0}]})"),
         "intro.json: clips[0].keyframes[1].step: 0 comes after step 1"},
        {withClip(R"({"track": 0, "position": 0, "length": 1,
                      "keyframes": [{"step": 0, "x": 0.5, "z": 1}]})"),
         "intro.json: clips[0].keyframes[0].z: unknown field"},
        {withClip(R"({"track": 0, "position": 0, "length": 1,
                      "keyframes": [{"step": 0}, {"step": 1, "opacity": "full"}]})"),
         "intro.json: clips[0].keyframes[1].opacity: expected a number, found a string"},
        {withClip(R"({"track": 0, "position": 0, "length": 1, "keyframes": [{"x": 0.5}]})"),
         "intro.json: clips[0].keyframes[0].step: missing (a number is required)"},
        {withClip(R"({"track": 0, "position": 0, "length": 1, "keyframes": [{"step": 0}, 3]})"),
         "intro.json: clips[0].keyframes[1]: expected an object, found a number"},
        {R"({"tracks": ["a"], "primaryTrack": 1, "clips": []})",
         "intro.json: primaryTrack: 1 is out of range [0, 0]"},
        {R"({"tracks": ["a"], "clips": [], "extra": 1})", "intro.json: extra: unknown field"},
        {R"({"clips": []})", "intro.json: tracks: missing (a list is required)"},
        {R"([])", "intro.json: a timeline must be a JSON object"},
        {R"({"tracks": [)", "intro.json: not valid JSON at offset"},
    };
    for (const auto& c : cases) {
        const QString message = errorOf(c.json);
        EXPECT_TRUE(message.startsWith(QLatin1String(c.message)))
            << c.json.toStdString() << "\n got: " << message.toStdString();
    }
}

// Written back and read again, a timeline is the same timeline (compared in its archive form).
TEST(TimelineFile, WrittenTimelinesReadBackEqual) {
    const Timeline::Object full = parse(kFull);
    QStringList omitted;
    const QByteArray written = Cli::TimelineFile::write(full, &omitted);
    EXPECT_TRUE(omitted.isEmpty()) << omitted.join('\n').toStdString();
    EXPECT_EQ(xmlOf(parse(written)), xmlOf(full));
    const Timeline::Object title =
        Cli::TimelineFile::load(QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/media/title.json"));
    EXPECT_EQ(xmlOf(parse(Cli::TimelineFile::write(title))), xmlOf(title));

    // What the format cannot hold is left out and named.
    Timeline::Object odd = parse(withClip(R"({"track": 1, "position": 0, "length": 10,
        "overlay": {"items": [{"begin": 0.5}]}})"));
    Timeline::Clip clip = *odd.clips().front();
    clip.addEffect(std::make_unique<Effect::Lut>());
    Overlay::Preset preset = *clip.overlayPreset();
    preset.items[0].begin = std::nan("");
    clip.setOverlayPreset(preset);
    odd.addClip(clip);
    omitted.clear();
    const Timeline::Object back = parse(Cli::TimelineFile::write(odd, &omitted));
    EXPECT_EQ(omitted,
              (QStringList{"clips[1].effects[0]: effect 'effect_lut' cannot be written; left out",
                           "clips[1].overlay.items[0].begin: nan, not a finite number cannot be "
                           "written; left out"}));
    EXPECT_TRUE(back.clips()[1]->effects().empty());
    EXPECT_EQ(back.clips()[1]->overlayPreset()->items[0].begin, 0.0);
}

TEST(TimelineTool, RefusedIntrosNameTheFileAndWriteNothing) {
    const struct {
        QByteArray timeline;
        QByteArray recipe;  // the default one when empty
        QString message;    // "<dir>" stands for the recipe's folder
    } cases[] = {
        {withClip(R"({"track": 0, "position": 0, "length": -1})"),
         {},
         "<dir>/intro.json: clips[0].length: must not be negative"},
        // A second intro would replace the first.
        {withClip(R"({"track": 0, "position": 0, "length": 1000})"),
         R"({"name": "Two", "components": [{"kind": "intro", "timeline": "intro.json"},
                                           {"kind": "intro", "timeline": "intro.json"}]})",
         "components[1].kind: a package holds one intro or intermediate overlay at most "
         "(components[0] is one)"},
    };
    for (const auto& c : cases) {
        RecipeFolder folder(c.timeline);
        if (!c.recipe.isEmpty())
            TestSupport::writeFile(folder.recipe, c.recipe);
        const QStringList before = tree(folder.dir.path());
        const TestSupport::ToolResult built = TestSupport::tool({"build", folder.recipe});
        EXPECT_EQ(built.code, 1);
        EXPECT_TRUE(built.errors.contains(QString(c.message).replace("<dir>", folder.dir.path())))
            << built.errors.toStdString();
        EXPECT_EQ(tree(folder.dir.path()), before);
    }
}

TEST(TimelineTool, IntroBuildLeavesOnlyThePackageBesideTheRecipe) {
    RecipeFolder folder(withClip(R"({"track": 0, "position": 0, "length": 1000,
                                     "media": {"source": "media/clip.mp4"}})"));
    const QStringList before = tree(folder.dir.path());
    const TestSupport::ToolResult built = TestSupport::tool({"build", folder.recipe, "--strict"});
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();

    QStringList expected = before + QStringList{"Intro Pack.qpack"};
    expected.sort();
    EXPECT_EQ(tree(folder.dir.path()), expected);
    const QString package = folder.dir.filePath("Intro Pack.qpack");
    const QStringList entries = TestSupport::zipEntries(package);
    EXPECT_TRUE(entries.contains("resources/intro.bundle"));
    EXPECT_EQ(TestSupport::zipEntry(package, "resources/clip.mp4"), "frames");
}
