#include "platform/media/core_parser.h"
#include "platform/media/snapshot.h"
#include "platform/media/timing_from_metadata.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <tuple>

#include "test_support.h"

namespace {

using testing::HasSubstr;

// What a call threw, or "" when it did not.
template <typename Call>
std::string errorOf(Call&& call) {
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

// Command-line arguments written as one line; "%1", "%2"... stand for the given files.
QStringList args(const char* line, const QStringList& files = {}) {
    QStringList result = QString(line).split(' ');
    for (QString& arg : result) {
        if (arg.startsWith('%'))
            arg = files.value(arg.mid(1).toInt() - 1);
    }
    return result;
}

// Media made once by the ffmpeg command: 3 s of 320x240 video at 25 fps with a key frame every
// second and B-frames, stored after an audio stream; and 2 s of audio alone.
class MediaTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        dir_ = std::make_unique<QTemporaryDir>();
        if (TestSupport::run("ffmpeg", {"-version"}) != 0)
            return;
        available_ =
            ffmpeg(args("-f lavfi -i testsrc2=s=320x240:r=25:d=3 -f lavfi -i "
                        "sine=frequency=440:duration=3 -map 1:a -map 0:v -c:v libx264 -g 25 "
                        "-pix_fmt yuv420p -c:a aac %1",
                        {path("clip.mp4")})) &&
            ffmpeg(args("-f lavfi -i sine=duration=2 -c:a aac %1", {path("tone.m4a")}));
    }
    static void TearDownTestSuite() { dir_.reset(); }

    void SetUp() override {
        if (!available_)
            GTEST_SKIP() << "the ffmpeg command (with libx264) is needed to make test media";
    }

    static QString path(const QString& name) { return dir_->filePath(name); }
    static std::string local(const QString& name) {
        return QFile::encodeName(path(name)).toStdString();
    }

    static bool ffmpeg(QStringList arguments) {
        QString output;
        arguments = QStringList{"-nostdin", "-v", "error", "-y"} + arguments;
        const bool ok = TestSupport::run("ffmpeg", arguments, &output) == 0;
        if (!ok)
            ADD_FAILURE() << "ffmpeg " << arguments.join(' ').toStdString() << "\n"
                          << output.toStdString();
        return ok;
    }

    // What the ffmpeg command writes for `-ss seconds`.
    static QImage reference(const QString& seconds) {
        const QString file = path("ffmpeg-" + seconds + ".png");
        if (!QFile::exists(file))
            ffmpeg(args("-ss %1 -i %2 -frames:v 1 %3", {seconds, path("clip.mp4"), file}));
        return QImage(file);
    }

    static QImage snapshot(const QString& media, qint64 timeMs) {
        const QString file = path(QStringLiteral("ours-%1-%2.png").arg(media).arg(timeMs));
        Media::Snapshot::write(local(media), timeMs, QFile::encodeName(file).toStdString());
        return QImage(file);
    }

    static inline std::unique_ptr<QTemporaryDir> dir_;
    static inline bool available_ = false;
};

TEST_F(MediaTest, DescribesStreamsAndTiming) {
    const auto clip = CoreParser::openSource(path("clip.mp4"));
    ASSERT_EQ(clip->streams().size(), 2u);
    const Media::StreamInfo& audio = clip->streams()[0];
    const Media::StreamInfo& video = clip->streams()[1];
    EXPECT_EQ(std::tie(audio.index, audio.type, audio.codecName),
              std::make_tuple(0, Media::AudioStream, "aac"));
    EXPECT_EQ(std::tie(video.index, video.type, video.codecName, video.width, video.height),
              std::make_tuple(1, Media::VideoStream, "h264", 320, 240));
    EXPECT_DOUBLE_EQ(video.frameRate.value(), 25.0);
    EXPECT_EQ(clip->formatFile().firstVideoStream(), &video);

    const Resource::Timing timing = Core::getTimingFromMetadata(clip->formatFile());
    EXPECT_EQ(std::tie(timing.start, timing.frameRate), std::make_tuple(0, 25000));
    EXPECT_NEAR(double(timing.length), 3000, 40);

    const auto tone = CoreParser::openSource(path("tone.m4a"));
    ASSERT_EQ(tone->streams().size(), 1u);
    EXPECT_EQ(tone->streams()[0].type, Media::AudioStream);
    const Resource::Timing toneTiming = Core::getTimingFromMetadata(tone->formatFile());
    EXPECT_NEAR(double(toneTiming.length), 2000, 50);
    EXPECT_EQ(toneTiming.frameRate, 0);
}

TEST(MediaTiming, VideoFieldsWinEachFallingBackToTheContainer) {
    Media::FormatFile format;
    format.startUs = -21333;
    format.durationUs = 10'000'400;
    format.streams.push_back({0, Media::AudioStream, "aac", 0, 0, {}, 0, 9'999'000});
    Media::StreamInfo video{1, Media::VideoStream, "h264", 1920, 1080, {30000, 1001}, 1'500, {}};
    format.streams.push_back(video);
    format.streams.push_back({2, Media::VideoStream, "png", 64, 64, {90000, 1}, 0, 1'000'000});

    EXPECT_EQ(Core::getTimingFromMetadata(format), (Resource::Timing{2, 10'000, 29'970}));

    format.streams[1].startUs.reset();
    format.streams[1].durationUs = 4'999'499;
    format.streams[1].frameRate = {};
    EXPECT_EQ(Core::getTimingFromMetadata(format), (Resource::Timing{-21, 4'999, 0}));

    format.streams.erase(format.streams.begin() + 1, format.streams.end());
    EXPECT_EQ(Core::getTimingFromMetadata(format), (Resource::Timing{-21, 10'000, 0}));
    EXPECT_EQ(Core::getTimingFromMetadata({}), (Resource::Timing{0, 0, 0}));
}

// The frame on screen at a time, as the ffmpeg command shows it with `-ss` at frame times (1320 ms
// is mid-GOP, 2960 ms the last frame). MPEG-TS has no index: seeking lands on any packet, before or
// after the key frame needed, and the file starts at a non-zero time; it must still give the
// frames the MP4 shows.
TEST_F(MediaTest, SnapshotTakesTheFrameOnScreen) {
    ASSERT_TRUE(ffmpeg(args("-i %1 -map 0:v -c copy %2", {path("clip.mp4"), path("clip.ts")})));
    // Between frames (1330 ms), the one shown, not the next (which the ffmpeg command takes). Just
    // before the key frame at 1 s, whose decode time comes earlier than 990 ms. Before the start,
    // the first frame; past the end, the last.
    const std::pair<qint64, QString> cases[] = {{0, "0"},        {1320, "1.32"}, {2960, "2.96"},
                                                {1330, "1.32"},  {990, "0.96"},  {-500, "0"},
                                                {60'000, "2.96"}};
    for (const char* file : {"clip.mp4", "clip.ts"}) {
        for (const auto& [ms, seconds] : cases) {
            SCOPED_TRACE(std::string(file) + " at " + std::to_string(ms));
            const QImage ours = snapshot(file, ms);
            EXPECT_EQ(ours.size(), QSize(320, 240));
            EXPECT_GE(TestSupport::psnr(ours, reference(seconds)), 40.0);
        }
    }
    EXPECT_LT(TestSupport::psnr(snapshot("clip.mp4", 1330), reference("1.36")), 30.0);
}

TEST_F(MediaTest, SnapshotErrors) {
    const std::string out = local("error.png");
    EXPECT_EQ(errorOf([&] { Media::Snapshot::write(local("tone.m4a"), 0, out); }),
              "Can not extract video stream to make snapshot");

    // A video stream whose codec this FFmpeg does not know.
    ASSERT_TRUE(
        ffmpeg(args("-f lavfi -i testsrc2=s=64x48:r=5:d=1 -c:v rawvideo -pix_fmt yuv420p %1",
                    {path("raw.avi")})));
    QByteArray avi = TestSupport::readFile(path("raw.avi"));
    const int header = avi.indexOf("vids");
    const int format = avi.indexOf("strf");
    ASSERT_GT(header, 0);
    ASSERT_GT(format, 0);
    avi.replace(header + 4, 4, "ZZZZ").replace(format + 8 + 16, 4, "ZZZZ");
    TestSupport::writeFile(path("unknown.avi"), avi);
    EXPECT_EQ(errorOf([&] { Media::Snapshot::write(local("unknown.avi"), 0, out); }),
              "Can not decode video stream to make snapshot");

    const std::string missing = local("missing.mp4");
    EXPECT_THAT(errorOf([&] { CoreParser::openSource(path("missing.mp4")); }),
                testing::AllOf(HasSubstr(missing), HasSubstr("No such file or directory")));
    EXPECT_THAT(errorOf([&] { Media::Snapshot::write(missing, 0, out); }), HasSubstr(missing));

    TestSupport::writeFile(path("notes.txt"), "not media at all\n");
    EXPECT_THAT(errorOf([&] { Media::Snapshot::write(local("notes.txt"), 0, out); }),
                HasSubstr(local("notes.txt")));

    // Cut right after the start of the media data: the header reads, no frame decodes.
    ASSERT_TRUE(ffmpeg(
        args("-i %1 -c copy -movflags +faststart %2", {path("clip.mp4"), path("fast.mp4")})));
    const QByteArray whole = TestSupport::readFile(path("fast.mp4"));
    const int data = whole.indexOf("mdat");
    ASSERT_GT(data, 0);
    TestSupport::writeFile(path("cut.mp4"), whole.left(data + 64));
    EXPECT_THAT(errorOf([&] { Media::Snapshot::write(local("cut.mp4"), 1000, out); }),
                HasSubstr(local("cut.mp4")));

    const std::string unwritable = local("notes.txt") + "/snapshot.png";
    EXPECT_THAT(errorOf([&] { Media::Snapshot::write(local("clip.mp4"), 0, unwritable); }),
                HasSubstr(unwritable));
    EXPECT_FALSE(QFile::exists(path("error.png")));
}

}  // namespace
