// A title built by the tool from a timeline with a real video: what lands in the package.

#include <gtest/gtest.h>

#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include "platform/bundle/package_reader.h"
#include "platform/bundle/store_item.h"
#include "platform/model/overlay_preset.h"
#include "test_support.h"

namespace {

const char kTimeline[] = R"({
    "tracks": ["main", "titles", "picture"],
    "primaryTrack": 0,
    "clips": [
        {"track": 0, "content": "video", "position": 0, "length": 5000,
         "media": {"source": "clip.mp4"}},
        {"track": 1, "content": "overlay", "position": 0, "length": 2000,
         "inPoint": 200, "contentLength": 2200,
         "overlay": {"kind": "title", "name": "Opening", "duration": 2000,
                     "items": [{"name": "a", "content": "Hello"}, {"name": "b", "content": "World"}]},
         "keyframes": [{"step": 0, "opacity": 0}, {"step": 0.5, "opacity": 1},
                       {"step": 1, "opacity": 0.5}]},
        {"track": 2, "content": "video", "position": 400, "length": 1200,
         "media": {"source": "clip.mp4", "streams": [{"type": "video", "width": 640, "height": 360}]},
         "effects": [{"type": "picture-in-picture",
                      "rect": {"x": 0.5, "y": 0.1, "width": 0.4, "height": 0.4}}]}
    ]
})";

const char kRecipe[] = R"({
    "name": "Opening Title",
    "components": [{"kind": "overlay", "timeline": "timeline.json", "overlayType": "title",
                    "firstItemSpan": 300, "secondItemSpan": 500, "useMediaTiming": true,
                    "collectionId": "opening-titles"}]
})";

bool ffmpeg(const QStringList& arguments) {
    QString output;
    const int code = TestSupport::run(
        "ffmpeg", QStringList{"-nostdin", "-v", "error", "-y"} + arguments, &output);
    if (code != 0)
        ADD_FAILURE() << output.toStdString();
    return code == 0;
}

}  // namespace

TEST(OverlayPackage, TitleWithPictureInPictureVideoAndItsStill) {
    if (TestSupport::run("ffmpeg", {"-version"}) != 0)
        GTEST_SKIP() << "the ffmpeg command is needed to make the test video";
    QTemporaryDir dir;
    const QString video = dir.filePath("clip.mp4");
    ASSERT_TRUE(ffmpeg({"-f", "lavfi", "-i", "testsrc2=s=640x360:r=25:d=2", "-c:v", "libx264", "-g",
                        "25", "-pix_fmt", "yuv420p", video}));
    TestSupport::writeFile(dir.filePath("timeline.json"), kTimeline);
    TestSupport::writeFile(dir.filePath("recipe.json"), kRecipe);

    const QString package = dir.filePath("title.qpack");
    const auto built = TestSupport::tool({"build", dir.filePath("recipe.json"), "-o", package});
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();

    const Package::Object object = Bundle::openPackage(package, dir.filePath("unpacked"));
    ASSERT_EQ(object.presetAddOns.size(), 1u);
    const Package::CollectionAddOn& addOn = object.presetAddOns.front();
    ASSERT_TRUE(addOn.path.startsWith("opening-titles/{")) << addOn.path.toStdString();
    Serialize::ObjectStorage storage;
    const auto record =
        Bundle::loadItem<Overlay::Preset>(object.folder + "/" + addOn.path, storage);
    const Overlay::Preset& preset = *record.item;
    EXPECT_EQ(preset.kind, Overlay::Preset::Title);
    EXPECT_EQ(preset.duration, 2000);  // the primary track is left out
    ASSERT_EQ(preset.items.size(), 3u);

    // The video first, placed in the reference scene: 640 px wide in a 512 px wide rectangle.
    const Overlay::Item& pip = preset.items[0];
    EXPECT_EQ(pip.kind, Overlay::Item::Video);
    EXPECT_DOUBLE_EQ(pip.begin, 0.2);
    EXPECT_DOUBLE_EQ(pip.end, 0.8);
    const QTransform placement = pip.transform.toQTransform();
    EXPECT_DOUBLE_EQ(placement.m11(), 0.8);
    EXPECT_DOUBLE_EQ(placement.m22(), 0.8);
    EXPECT_DOUBLE_EQ(placement.dx(), 640);
    EXPECT_DOUBLE_EQ(placement.dy(), 72);

    // Both title items, with fades as fractions of the clip and the keys that are on screen.
    for (int i : {1, 2}) {
        const Overlay::Item& item = preset.items[size_t(i)];
        EXPECT_EQ(item.kind, Overlay::Item::Text);
        EXPECT_DOUBLE_EQ(item.firstFraction, 0.15);
        EXPECT_DOUBLE_EQ(item.secondFraction, 0.25);
        ASSERT_EQ(item.envelope.keys.size(), 2u);
        EXPECT_DOUBLE_EQ(item.envelope.keys[0].step, 0.45);
        EXPECT_DOUBLE_EQ(item.envelope.keys[1].step, 1.0);
        EXPECT_DOUBLE_EQ(item.envelope.keys[1].value.opacity, 0.5);
    }

    // The video under its own name with its timing from the file, and its still.
    ASSERT_EQ(addOn.resources.size(), 2u);
    const Package::Resource& media = addOn.resources[0];
    const Package::Resource& still = addOn.resources[1];
    EXPECT_EQ(media.path, "resources/clip.mp4");
    EXPECT_EQ(media.type(), Resource::MediaFile);
    EXPECT_EQ(pip.resource, Resource::serializeResource(media.key));
    EXPECT_EQ(media.timing, (Resource::Timing{0, 2000, 25000}));
    EXPECT_EQ(still.path, "resources/clip_preview.png");
    EXPECT_EQ(still.id(), media.id());
    EXPECT_EQ(TestSupport::zipEntry(package, "resources/clip.mp4"), TestSupport::readFile(video));

    // The still shows the middle of the clip (1000 ms) as the ffmpeg command does.
    const QByteArray png = TestSupport::zipEntry(package, "resources/clip_preview.png");
    ASSERT_TRUE(png.startsWith("\x89PNG\r\n\x1a\n"));
    const QImage ours = QImage::fromData(png, "PNG");
    const QString reference = dir.filePath("reference.png");
    ASSERT_TRUE(ffmpeg({"-ss", "1", "-i", video, "-frames:v", "1", reference}));
    const QImage theirs(reference);
    ASSERT_FALSE(theirs.isNull());
    EXPECT_EQ(ours.size(), theirs.size());
    EXPECT_GE(TestSupport::psnr(ours, theirs), 40.0);
}
