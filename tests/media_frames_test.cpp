// The snapshot against the ffmpeg command, frame by frame, on a set of clips that the command
// makes: open-GOP H.264 in three containers and raw, variable frame rate, a cover picture, a
// rotated phone clip and a clip with alpha. The command decodes every frame of a clip (no
// seeking, no dropping) and reports each frame's time; the frame on screen at a time is the last
// whose time is at or before it, and the snapshot must hold that frame.

#include "platform/media/snapshot.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "test_support.h"

namespace {

// One frame as the ffmpeg command decodes it: its time (num/den seconds, relative to the start
// of the file) and its picture.
struct Frame {
    qint64 num = 0;
    qint64 den = 1;
    bool key = false;
    QString picture;

    // Whether the frame has started showing at `ms`.
    bool shownBy(qint64 ms) const { return num * 1000 <= ms * den; }
    // The first whole millisecond at which it shows.
    qint64 firstMs() const {
        const qint64 scaled = num * 1000;
        return scaled >= 0 ? (scaled + den - 1) / den : -((-scaled) / den);
    }
};

double alphaPsnr(const QImage& a, const QImage& b) {
    const QImage x = a.convertToFormat(QImage::Format_ARGB32);
    const QImage y = b.convertToFormat(QImage::Format_ARGB32);
    double sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        for (int column = 0; column < x.width(); ++column) {
            const int d = qAlpha(x.pixel(column, row)) - qAlpha(y.pixel(column, row));
            sum += double(d) * d;
        }
    }
    const double mse = sum / (double(x.width()) * x.height());
    return mse == 0 ? std::numeric_limits<double>::infinity() : 10 * std::log10(255.0 * 255 / mse);
}

class MediaFramesTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        dir_ = std::make_unique<QTemporaryDir>();
        if (TestSupport::run("ffmpeg", {"-version"}) != 0)
            return;
        const QString source = "testsrc2=s=160x90:r=25:d=4";
        // Non-IDR key frames every 30 frames, each with B-frames before it that refer to the GOP
        // before: a seek to such a key frame cannot decode them.
        available_ =
            ffmpeg({"-f", "lavfi", "-i", source, "-c:v", "libx264", "-preset", "veryfast",
                    "-x264-params", "open-gop=1:keyint=30:min-keyint=30:scenecut=0:bframes=3",
                    "-pix_fmt", "yuv420p", path("open.mp4")}) &&
            ffmpeg({"-i", path("open.mp4"), "-c", "copy", path("open.mkv")}) &&
            ffmpeg({"-i", path("open.mp4"), "-c", "copy", path("open.ts")}) &&
            ffmpeg({"-i", path("open.mp4"), "-c", "copy", "-f", "h264", path("open.h264")}) &&
            // Frames 10 to 70 ms apart where the track states 40 ms for each.
            ffmpeg({"-f", "lavfi", "-i", "testsrc2=s=160x90:r=25:d=4", "-vf",
                    "settb=1/1000,setpts='(4*N-3*eq(mod(N\\,4)\\,1))*0.01/TB'", "-fps_mode",
                    "passthrough", "-c:v", "libx264", "-enc_time_base", "1:1000", "-preset",
                    "veryfast", "-g", "20", "-pix_fmt", "yuv420p", path("vfr.mkv")}) &&
            ffmpeg({"-f",
                    "lavfi",
                    "-i",
                    "sine=duration=3",
                    "-f",
                    "lavfi",
                    "-i",
                    "testsrc2=s=160x90:r=1:d=1",
                    "-map",
                    "0:a",
                    "-map",
                    "1:v",
                    "-c:a",
                    "libmp3lame",
                    "-c:v",
                    "png",
                    "-frames:v",
                    "1",
                    "-disposition:v:0",
                    "attached_pic",
                    "-id3v2_version",
                    "3",
                    path("cover.mp3")}) &&
            ffmpeg({"-f", "lavfi", "-i", "testsrc2=s=160x90:r=25:d=3", "-c:v", "libx264", "-preset",
                    "veryfast", "-g", "25", "-pix_fmt", "yuv420p", path("plain.mp4")}) &&
            ffmpeg({"-i", path("plain.mp4"), "-c", "copy", "-metadata:s:v:0", "rotate=90",
                    path("phone.mp4")}) &&
            ffmpeg({"-f", "lavfi", "-i", "testsrc2=s=160x90:r=25:d=2", "-vf",
                    "format=rgba,geq=r='r(X\\,Y)':g='g(X\\,Y)':b='b(X\\,Y)':a='mod(3*X+8*N\\,256)'",
                    "-c:v", "png", "-pix_fmt", "rgba", path("alpha.mov")});
    }
    static void TearDownTestSuite() { dir_.reset(); }

    void SetUp() override {
        if (!available_)
            GTEST_SKIP() << "the ffmpeg command (with libx264 and libmp3lame) makes the clips";
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

    // Every frame of a clip, in presentation order, as the ffmpeg command decodes and shows it
    // (rotation applied): no seek, each decoded frame written once.
    static std::vector<Frame> framesOf(const QString& clip) {
        const QString folder = path(clip + ".frames");
        QDir().mkpath(folder);
        QString output;
        QString errors;
        const QStringList arguments = {"-nostdin",  "-hide_banner", "-nostats",
                                       "-i",        path(clip),     "-map",
                                       "0:v:0",     "-vf",          "showinfo",
                                       "-fps_mode", "passthrough",  folder + "/%05d.png"};
        if (TestSupport::run("ffmpeg", arguments, &output, &errors) != 0) {
            ADD_FAILURE() << errors.toStdString();
            return {};
        }
        const QRegularExpressionMatch base =
            QRegularExpression(R"(config in time_base: (\d+)/(\d+))").match(errors);
        if (!base.hasMatch()) {
            ADD_FAILURE() << "no time base in\n" << errors.toStdString();
            return {};
        }
        std::vector<Frame> frames;
        QRegularExpressionMatchIterator it =
            QRegularExpression(R"(n:\s*(\d+)\s+pts:\s*(-?\d+).*iskey:(\d))").globalMatch(errors);
        while (it.hasNext()) {
            const QRegularExpressionMatch line = it.next();
            Frame frame;
            frame.num = line.captured(2).toLongLong() * base.captured(1).toLongLong();
            frame.den = base.captured(2).toLongLong();
            frame.key = line.captured(3) == "1";
            frame.picture = QStringLiteral("%1/%2.png")
                                .arg(folder)
                                .arg(line.captured(1).toInt() + 1, 5, 10, QLatin1Char('0'));
            frames.push_back(frame);
        }
        return frames;
    }

    // The frame on screen at `ms`: the last that has started, else the first.
    static size_t onScreen(const std::vector<Frame>& frames, qint64 ms) {
        size_t index = 0;
        for (size_t i = 0; i < frames.size(); ++i) {
            if (frames[i].shownBy(ms))
                index = i;
        }
        return index;
    }

    // Times that matter: before and after the clip, times spread over it, the start and the
    // middle of frames spread over it, and every frame around each key frame after the first (the
    // pictures just before one belong to its GOP in decode order, those just after follow them).
    static std::vector<qint64> timesFor(const std::vector<Frame>& frames) {
        const qint64 end = frames.back().firstMs() + 100;
        std::vector<qint64> times = {-300, end + 5000};
        const size_t count = frames.size();
        for (qint64 k = 0; k <= 20; ++k)
            times.push_back(end * k / 20);
        for (size_t k = 0; k <= 10; ++k) {
            const size_t i = k * (count - 1) / 10;
            const qint64 next = i + 1 < count ? frames[i + 1].firstMs() : end;
            times.insert(times.end(), {frames[i].firstMs(), (frames[i].firstMs() + next) / 2});
        }
        for (size_t i = 1; i < count; ++i) {
            if (!frames[i].key)
                continue;
            times.push_back(frames[i].firstMs() - 1);
            for (size_t j = i - std::min<size_t>(i, 2); j < std::min(count, i + 4); ++j)
                times.push_back(frames[j].firstMs() + 1);
        }
        std::sort(times.begin(), times.end());
        times.erase(std::unique(times.begin(), times.end()), times.end());
        return times;
    }

    // Checks the snapshot at each time against the frame on screen; returns how many were
    // checked.
    static int checkClip(const QString& clip, const QSize& size, bool alpha = false) {
        const std::vector<Frame> frames = framesOf(clip);
        if (frames.empty()) {
            ADD_FAILURE() << clip.toStdString() << ": no frames";
            return 0;
        }
        int checked = 0;
        for (const qint64 ms : timesFor(frames)) {
            SCOPED_TRACE(clip.toStdString() + " at " + std::to_string(ms) + " ms");
            const size_t expected = onScreen(frames, ms);
            const QString out = path(QStringLiteral("%1-%2.png").arg(clip).arg(ms));
            Media::Snapshot::write(QFile::encodeName(path(clip)).toStdString(), ms,
                                   QFile::encodeName(out).toStdString());
            const QImage ours(out);
            const QImage theirs(frames[expected].picture);
            EXPECT_EQ(ours.size(), size);
            EXPECT_EQ(theirs.size(), size);
            if (ours.size() != size || theirs.size() != size)
                continue;
            EXPECT_GE(TestSupport::psnr(ours, theirs), 40.0) << "frame " << expected;
            // The neighbours must look different, or the clip could not tell frames apart.
            for (const size_t other : {expected - 1, expected + 1}) {
                if (other < frames.size()) {
                    EXPECT_LT(TestSupport::psnr(ours, QImage(frames[other].picture)), 40.0)
                        << "frame " << other << " is as close as frame " << expected;
                }
            }
            EXPECT_EQ(ours.hasAlphaChannel(), alpha);
            if (alpha) {
                EXPECT_GE(alphaPsnr(ours, theirs), 40.0);
            }
            ++checked;
        }
        return checked;
    }

    static inline std::unique_ptr<QTemporaryDir> dir_;
    static inline bool available_ = false;
};

TEST_F(MediaFramesTest, OpenGopH264InEveryContainerAndRaw) {
    // The clips are what they claim: one IDR frame, yet several key frames.
    const QByteArray raw = TestSupport::readFile(path("open.h264"));
    int idr = 0;
    for (int at = raw.indexOf(QByteArray("\0\0\1", 3)); at >= 0 && at + 3 < raw.size();
         at = raw.indexOf(QByteArray("\0\0\1", 3), at + 3))
        idr += (raw[at + 3] & 0x1f) == 5;
    EXPECT_EQ(idr, 1);
    const std::vector<Frame> frames = framesOf("open.mp4");
    EXPECT_EQ(std::count_if(frames.begin(), frames.end(), [](const Frame& f) { return f.key; }), 4);

    for (const char* clip : {"open.mp4", "open.mkv", "open.ts", "open.h264"})
        EXPECT_GE(checkClip(clip, QSize(160, 90)), 20);
}

TEST_F(MediaFramesTest, VariableFrameRateTrustsFrameTimes) {
    const std::vector<Frame> frames = framesOf("vfr.mkv");
    ASSERT_GT(frames.size(), 10u);
    std::vector<qint64> gaps;
    for (size_t i = 1; i < frames.size(); ++i)
        gaps.push_back(frames[i].firstMs() - frames[i - 1].firstMs());
    EXPECT_EQ(*std::min_element(gaps.begin(), gaps.end()), 10);
    EXPECT_EQ(*std::max_element(gaps.begin(), gaps.end()), 70);
    EXPECT_GE(checkClip("vfr.mkv", QSize(160, 90)), 20);
}

TEST_F(MediaFramesTest, CoverPictureOfAnAudioFile) {
    EXPECT_GE(checkClip("cover.mp3", QSize(160, 90)), 20);
}

TEST_F(MediaFramesTest, RotationAndAlphaAsTheCommandShowsThem) {
    // The command turns the phone clip upright: the display matrix is there.
    EXPECT_GE(checkClip("phone.mp4", QSize(90, 160)), 20);
    EXPECT_GE(checkClip("alpha.mov", QSize(160, 90), true), 20);
}

}  // namespace
