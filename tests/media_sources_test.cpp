// Media is read from local regular files only, and every media failure says where it comes from:
// the layer itself, `build` on recipes and `finalize` on packages.

#include "platform/media/core_parser.h"
#include "platform/media/media_error.h"
#include "platform/media/snapshot.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "platform/bundle/zip.h"
#include "test_support.h"

namespace {

using TestSupport::tool;

const QString kExamples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/");

std::string local(const QString& path) {
    return QFile::encodeName(path).toStdString();
}

class MediaSourcesTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        dir_ = std::make_unique<QTemporaryDir>();
        if (TestSupport::run("ffmpeg", {"-version"}) != 0)
            return;
        available_ =
            ffmpeg({"-f", "lavfi", "-i", "testsrc2=s=160x90:r=25:d=2", "-c:v", "libx264",
                    "-pix_fmt", "yuv420p", path("outside.ts")}) &&
            ffmpeg({"-f", "lavfi", "-i", "sine=duration=2", "-c:a", "aac", path("tone.m4a")}) &&
            ffmpeg({"-f", "lavfi", "-i", "testsrc2=s=160x90:r=25:d=3", "-c:v", "libx264", "-preset",
                    "veryfast", "-g", "25", "-pix_fmt", "yuv420p", "-movflags", "+faststart",
                    path("clip.mp4")});
        if (!available_)
            return;
        // A playlist and a concatenation list that play a video from elsewhere, each dressed
        // as an ordinary video file.
        const QByteArray outside = QFile::encodeName(path("outside.ts"));
        TestSupport::writeFile(path("playlist.mp4"),
                               "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n"
                               "#EXTINF:2.0,\n" +
                                   outside + "\n#EXT-X-ENDLIST\n");
        TestSupport::writeFile(path("list.mkv"), "ffconcat version 1.0\nfile '" + outside + "'\n");
        // Damaged all through its frames: the decoder complains, yet a picture comes out.
        QByteArray damaged = TestSupport::readFile(path("clip.mp4"));
        for (int i = damaged.indexOf("mdat") + 200; i < damaged.size(); i += 97)
            damaged[i] = char(damaged[i] ^ 0x55);
        TestSupport::writeFile(path("damaged.mp4"), damaged);
    }
    static void TearDownTestSuite() { dir_.reset(); }

    void SetUp() override {
        if (!available_)
            GTEST_SKIP() << "the ffmpeg command (with libx264) is needed to make test media";
    }

    static QString path(const QString& name) { return dir_->filePath(name); }

    static bool ffmpeg(const QStringList& arguments) {
        QString output;
        const QStringList all = QStringList{"-nostdin", "-v", "error", "-y"} + arguments;
        const bool ok = TestSupport::run("ffmpeg", all, &output) == 0;
        if (!ok)
            ADD_FAILURE() << "ffmpeg " << all.join(' ').toStdString() << "\n"
                          << output.toStdString();
        return ok;
    }

    // A recipe of two components in `folder`: an import of the good clip, then an overlay whose
    // timeline plays `source`.
    static QString recipe(const QString& folder, const QString& source, bool mediaTiming) {
        QByteArray timeline = TestSupport::readFile(kExamples + "media/title.json");
        timeline.replace("\"beach.mp4\"", "\"" + QFile::encodeName(source) + "\"");
        TestSupport::writeFile(folder + "/timeline.json", timeline);
        const QString file = folder + "/recipe.json";
        TestSupport::writeFile(file, QStringLiteral(R"({"name": "Media", "components": [
                {"kind": "import", "file": "%1"},
                {"kind": "overlay", "overlayType": "title", "timeline": "timeline.json",
                 "firstItemSpan": 300, "secondItemSpan": 300, "useMediaTiming": %2,
                 "videoTiming": {"start": 0, "length": 2000, "frameRate": 25000},
                 "collectionId": "titles"}]})")
                                         .arg(path("clip.mp4"), mediaTiming ? "true" : "false")
                                         .toUtf8());
        return file;
    }

    static inline std::unique_ptr<QTemporaryDir> dir_;
    static inline bool available_ = false;
};

TEST_F(MediaSourcesTest, OnlyTheFileItselfIsRead) {
    const struct {
        QString source;
        const char* reason;
    } refused[] = {
        {path("playlist.mp4"),
         "names other files (Apple HTTP Live Streaming); only the file itself is read"},
        {path("list.mkv"),
         "names other files (Virtual concatenation script); only the file itself is read"},
        {dir_->path(), "not a regular file"},
        {"/dev/null", "not a regular file"},
    };
    const QString out = path("refused.png");
    for (const auto& c : refused) {
        SCOPED_TRACE(c.source.toStdString());
        const std::string opening =
            TestSupport::errorFrom<std::runtime_error>([&] { CoreParser::openSource(c.source); });
        EXPECT_EQ(opening, "Can not open media file '" + c.source.toStdString() + "': " + c.reason)
            << opening;
        try {
            Media::Snapshot::write(local(c.source), 500, local(out));
            ADD_FAILURE() << "no error";
        } catch (const Media::Error& error) {
            EXPECT_EQ(error.what(), opening);
            EXPECT_EQ(error.file(), c.source);
        }
        EXPECT_FALSE(QFileInfo::exists(out));
    }

    // A name that reads as a numbered sequence is the one file it names.
    QImage red(32, 24, QImage::Format_RGB888);
    red.fill(Qt::red);
    QImage blue = red;
    blue.fill(Qt::blue);
    ASSERT_TRUE(red.save(path("frame%d.png")));
    ASSERT_TRUE(blue.save(path("frame1.png")));
    ASSERT_TRUE(blue.save(path("frame2.png")));
    Media::Snapshot::write(local(path("frame%d.png")), 0, local(out));
    EXPECT_EQ(QImage(out).pixelColor(5, 5), QColor(Qt::red));
}

TEST_F(MediaSourcesTest, BuildNamesTheComponentAndTheFileOfEveryMediaError) {
    const struct {
        QString source;
        bool mediaTiming;  // opened while building, else only when the still is made
        QString message;   // after "<recipe>: components[1] "
    } cases[] = {
        {path("tone.m4a"), false, "(tone.m4a): Can not extract video stream to make snapshot"},
        {path("playlist.mp4"), true,
         "(playlist.mp4): Can not open media file '" + path("playlist.mp4") +
             "': names other files (Apple HTTP Live Streaming); only the file itself is read"},
        {path("list.mkv"), false,
         "(list.mkv): Can not open media file '" + path("list.mkv") +
             "': names other files (Virtual concatenation script); only the file itself is "
             "read"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.source.toStdString());
        QTemporaryDir work;
        // A marker in the recipe's path stays as it is.
        const QString file = recipe(work.filePath("run %1"), c.source, c.mediaTiming);
        // The content checks would refuse these first: what is tested is the library's own error.
        const auto built = tool({"build", file, "-o", work.filePath("out.qpack"), "--no-checks"});
        EXPECT_EQ(built.code, 1);
        EXPECT_EQ(built.errors,
                  "packwright: error: " + file + ": components[1] " + c.message + "\n");
        EXPECT_FALSE(QFileInfo::exists(work.filePath("out.qpack")));
    }
}

TEST_F(MediaSourcesTest, FinalizeRefusesAPackagedPlaylist) {
    QTemporaryDir work;
    const QString editable = work.filePath("editable.qpack");
    const auto built = tool({"build", kExamples + "editable-title.json", "-o", editable});
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    const QString folder = work.filePath("unpacked");
    Bundle::Zip::extractAll(editable, folder);
    QFile::remove(folder + "/resources/beach.mp4");
    QFile::copy(path("playlist.mp4"), folder + "/resources/beach.mp4");
    Bundle::Zip::compressAll(work.filePath("hostile.qpack"), folder);

    const auto finalized =
        tool({"finalize", work.filePath("hostile.qpack"), "-C", work.filePath("out")});
    EXPECT_EQ(finalized.code, 1);
    EXPECT_TRUE(finalized.errors.contains("beach.mp4': names other files"))
        << finalized.errors.toStdString();
    EXPECT_TRUE(QDir(work.filePath("out")).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot));
}

TEST_F(MediaSourcesTest, DecoderMessagesAreWarningsOnlyWhenAskedFor) {
    QTemporaryDir work;
    const QString file = recipe(work.path(), path("damaged.mp4"), false);
    const auto quiet = tool({"build", file, "-o", work.filePath("quiet.qpack")});
    EXPECT_EQ(quiet.code, 0) << quiet.errors.toStdString();
    EXPECT_EQ(quiet.errors, "");

    const auto verbose = tool({"build", file, "-o", work.filePath("verbose.qpack"), "-v"});
    EXPECT_EQ(verbose.code, 0) << verbose.errors.toStdString();
    const QStringList lines = verbose.errors.split('\n', Qt::SkipEmptyParts);
    ASSERT_FALSE(lines.isEmpty());
    for (const QString& line : lines)
        EXPECT_TRUE(line.startsWith("packwright: warning: [h264 @ ")) << line.toStdString();
    EXPECT_TRUE(verbose.errors.contains("error while decoding")) << verbose.errors.toStdString();
    EXPECT_TRUE(TestSupport::zipEntries(work.filePath("verbose.qpack"))
                    .contains("resources/damaged_preview.png"));
}

}  // namespace
