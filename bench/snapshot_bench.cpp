// Snapshots of a generated 1080p clip with Media::Snapshot::write and, on the same clip at the
// same times in the same run, with the ffmpeg command (`ffmpeg -ss T -i SRC -frames:v 1 OUT.png`),
// and prints the median wall time of both per time and in total. Ours runs in this process, as
// the library does in an application; the command's time includes starting it, as it would for
// a caller that runs it. Each pair of PNGs is compared (PSNR over RGB) to show they agree.
//
//   snapshot_bench [--times 0,2520,4960,7320,9960] [--rounds 5] [--size 1920x1080]
//                  [--seconds 10] [--gop 50] [--preset fast] [--noise 0] [--x264 PARAMS]
//                  [--dir PATH]
// e.g. --x264 open-gop=1:scenecut=0 for key frames that are not IDR frames.

#include "platform/media/snapshot.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QStringList>
#include <QTemporaryDir>

#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <vector>

extern char** environ;

namespace {

struct Options {
    std::vector<qint64> timesMs = {0, 2520, 4960, 7320, 9960};
    int rounds = 5;
    QString size = "1920x1080";
    int seconds = 10;
    int gop = 50;
    QString preset = "fast";
    int noise = 0;
    QString x264;  // extra -x264-params
    QString dir = QDir::tempPath();
};

[[noreturn]] void die(const std::string& message) {
    std::fprintf(stderr, "snapshot_bench: %s\n", message.c_str());
    std::exit(1);
}

// Runs the ffmpeg command quietly and waits for it; true when it succeeded.
bool ffmpeg(const QStringList& arguments) {
    std::vector<QByteArray> storage = {"ffmpeg", "-nostdin", "-v", "error", "-y"};
    for (const QString& argument : arguments)
        storage.push_back(argument.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& item : storage)
        argv.push_back(item.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (::posix_spawnp(&pid, "ffmpeg", nullptr, nullptr, argv.data(), environ) != 0)
        return false;
    int status = 0;
    return ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

double timed(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

double psnr(const QImage& a, const QImage& b) {
    if (a.isNull() || a.size() != b.size())
        return -1;
    const QImage x = a.convertToFormat(QImage::Format_RGB888);
    const QImage y = b.convertToFormat(QImage::Format_RGB888);
    double sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        const uchar* p = x.constScanLine(row);
        const uchar* q = y.constScanLine(row);
        for (int i = 0; i < x.width() * 3; ++i)
            sum += double(p[i] - q[i]) * (p[i] - q[i]);
    }
    const double mse = sum / (double(x.width()) * x.height() * 3);
    return mse == 0 ? std::numeric_limits<double>::infinity() : 10 * std::log10(255.0 * 255 / mse);
}

QString seconds(qint64 ms) {
    return QString::number(double(ms) / 1000.0, 'f', 3);
}

void run(const Options& options, const QString& work) {
    const QString clip = work + "/clip.mp4";
    QString source =
        QStringLiteral("testsrc2=s=%1:r=25:d=%2").arg(options.size).arg(options.seconds);
    QStringList encode = {"-f", "lavfi", "-i", source};
    if (options.noise > 0)
        encode << "-vf" << QStringLiteral("noise=alls=%1:allf=t").arg(options.noise);
    encode << "-c:v"
           << "libx264";
    if (!options.x264.isEmpty())
        encode << "-x264-params" << options.x264;
    encode << "-preset" << options.preset << "-g" << QString::number(options.gop) << "-pix_fmt"
           << "yuv420p" << clip;
    std::printf("making %s (%s, %d s, x264 %s %s, key frame every %d frames, noise %d)...\n",
                clip.toLocal8Bit().constData(), options.size.toLocal8Bit().constData(),
                options.seconds, options.preset.toLocal8Bit().constData(),
                options.x264.toLocal8Bit().constData(), options.gop, options.noise);
    std::fflush(stdout);
    if (!ffmpeg(encode))
        die("the ffmpeg command could not make the clip (is ffmpeg with libx264 installed?)");

    const std::string clipPath = QFile::encodeName(clip).toStdString();
    const auto ours = [&](qint64 ms) {
        const QString out = QStringLiteral("%1/ours-%2.png").arg(work).arg(ms);
        return timed([&] {
            try {
                Media::Snapshot::write(clipPath, ms, QFile::encodeName(out).toStdString());
            } catch (const std::exception& error) {
                die(error.what());
            }
        });
    };
    const auto theirs = [&](qint64 ms) {
        const QString out = QStringLiteral("%1/ffmpeg-%2.png").arg(work).arg(ms);
        return timed([&] {
            if (!ffmpeg({"-ss", seconds(ms), "-i", clip, "-frames:v", "1", out}))
                die("the ffmpeg command failed at " + seconds(ms).toStdString() + " s");
        });
    };

    // Warm both up once: the clip into the page cache, the command's libraries into memory.
    ours(options.timesMs.front());
    theirs(options.timesMs.front());

    const size_t n = options.timesMs.size();
    std::vector<std::vector<double>> oursTimes(n), theirTimes(n);
    for (int round = 0; round < options.rounds; ++round) {
        for (size_t i = 0; i < n; ++i) {
            // Alternate who goes first, so that neither always finds the other's leftovers.
            if ((round + int(i)) % 2 == 0) {
                oursTimes[i].push_back(ours(options.timesMs[i]));
                theirTimes[i].push_back(theirs(options.timesMs[i]));
            } else {
                theirTimes[i].push_back(theirs(options.timesMs[i]));
                oursTimes[i].push_back(ours(options.timesMs[i]));
            }
        }
    }

    std::printf("\nmedian of %d rounds, wall time in ms\n", options.rounds);
    std::printf("  %8s %10s %10s %8s %10s %12s %14s\n", "time", "ours", "ffmpeg", "ratio",
                "PSNR (dB)", "ours (KiB)", "ffmpeg (KiB)");
    double oursTotal = 0;
    double theirTotal = 0;
    std::vector<double> ratios;
    for (size_t i = 0; i < n; ++i) {
        const qint64 ms = options.timesMs[i];
        const QString a = QStringLiteral("%1/ours-%2.png").arg(work).arg(ms);
        const QString b = QStringLiteral("%1/ffmpeg-%2.png").arg(work).arg(ms);
        const double mine = median(oursTimes[i]) * 1000;
        const double other = median(theirTimes[i]) * 1000;
        oursTotal += mine;
        theirTotal += other;
        ratios.push_back(mine / other);
        std::printf("  %7.3fs %10.1f %10.1f %8.2f %10.1f %12lld %14lld\n", double(ms) / 1000, mine,
                    other, mine / other, psnr(QImage(a), QImage(b)),
                    static_cast<long long>(QFile(a).size() / 1024),
                    static_cast<long long>(QFile(b).size() / 1024));
    }
    std::printf("  %8s %10.1f %10.1f %8.2f\n", "total", oursTotal, theirTotal,
                oursTotal / theirTotal);
    std::printf("time ours/ffmpeg %.2f (median of the times' ratios %.2f)\n",
                oursTotal / theirTotal, median(ratios));
}

int number(const char* text) {
    bool ok = false;
    const int value = QByteArray(text).toInt(&ok);
    if (!ok || value < 0)
        die("bad number: " + std::string(text));
    return value;
}

std::vector<qint64> parseTimes(const char* text) {
    std::vector<qint64> times;
    for (const QByteArray& part : QByteArray(text).split(',')) {
        bool ok = false;
        times.push_back(part.toLongLong(&ok));
        if (!ok)
            die("bad time list: " + std::string(text));
    }
    return times;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (i + 1 >= argc)
            die("usage: snapshot_bench [--times 0,2520,4960,7320,9960] [--rounds 5] "
                "[--size 1920x1080] [--seconds 10] [--gop 50] [--preset fast] [--noise 0] "
                "[--x264 PARAMS] [--dir PATH]");
        const char* value = argv[++i];
        if (arg == "--times")
            options.timesMs = parseTimes(value);
        else if (arg == "--rounds")
            options.rounds = std::max(1, number(value));
        else if (arg == "--size")
            options.size = QString::fromLocal8Bit(value);
        else if (arg == "--seconds")
            options.seconds = std::max(1, number(value));
        else if (arg == "--gop")
            options.gop = std::max(1, number(value));
        else if (arg == "--preset")
            options.preset = QString::fromLocal8Bit(value);
        else if (arg == "--noise")
            options.noise = number(value);
        else if (arg == "--x264")
            options.x264 = QString::fromLocal8Bit(value);
        else if (arg == "--dir")
            options.dir = QString::fromLocal8Bit(value);
        else
            die("unknown option " + arg);
    }

    QTemporaryDir work(options.dir + "/snapshot_bench-XXXXXX");
    if (!work.isValid())
        die("cannot create a work folder in " + options.dir.toStdString());
    run(options, work.path());
    return 0;
}
