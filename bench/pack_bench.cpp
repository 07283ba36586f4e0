// Packs a folder of large media and many small XML files with Bundle::Zip::compressAll and,
// on the same files in the same run, with the zip tool (`zip -q -r -n .mp4:.png`), and prints
// wall time and peak memory of both. Each pack runs in a child process of its own, so its peak
// RSS is its own. Run once per media size: our peak should not move with the size.
//
//   pack_bench [--media-mib 64,512] [--media-files 2] [--text-files 2000] [--text-kib 8]
//              [--rounds 3] [--dir PATH]

#include "platform/bundle/zip.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

struct Options {
    std::vector<qint64> mediaMiB = {64, 512};
    int mediaFiles = 2;
    int textFiles = 2000;
    int textKiB = 8;
    int rounds = 3;
    QString dir = QDir::tempPath();
};

struct Run {
    double seconds = 0;
    long peakKiB = 0;
    bool ok = false;
};

[[noreturn]] void die(const std::string& message) {
    std::fprintf(stderr, "pack_bench: %s\n", message.c_str());
    std::exit(1);
}

// Fast, reproducible bytes that no compressor can shrink, like encoded media.
class Noise {
public:
    explicit Noise(quint64 seed) : state_(seed) {}
    void fill(char* data, size_t size) {
        for (size_t i = 0; i + 8 <= size; i += 8) {
            const quint64 value = next();
            std::memcpy(data + i, &value, 8);
        }
    }
    quint64 next() {
        quint64 z = (state_ += 0x9e3779b97f4a7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return z ^ (z >> 31);
    }

private:
    quint64 state_;
};

void writeFile(const QString& path, const std::function<void(QFile&)>& fill) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        die("cannot write " + path.toStdString() + ": " + file.errorString().toStdString());
    fill(file);
    if (!file.flush())
        die("cannot write " + path.toStdString());
}

// Written in 1 MiB pieces so that this process stays small and its children's numbers clean.
void makeTree(const QString& root, const Options& options, qint64 mediaMiB) {
    QDir().mkpath(root + "/media");
    std::vector<char> chunk(1 << 20);
    Noise noise(42);
    for (int i = 0; i < options.mediaFiles; ++i) {
        const QString name = QStringLiteral("%1/media/%2-%3.%4")
                                 .arg(root, i % 2 ? "still" : "clip")
                                 .arg(i)
                                 .arg(i % 2 ? "png" : "mp4");
        writeFile(name, [&](QFile& file) {
            for (qint64 n = 0; n < mediaMiB; ++n) {
                noise.fill(chunk.data(), chunk.size());
                file.write(chunk.data(), qint64(chunk.size()));
            }
        });
    }
    const int perFolder = 100;
    for (int i = 0; i < options.textFiles; ++i) {
        const QString folder = QStringLiteral("%1/project/part-%2").arg(root).arg(i / perFolder);
        if (i % perFolder == 0)
            QDir().mkpath(folder);
        writeFile(QStringLiteral("%1/clip-%2.xml").arg(folder).arg(i), [&](QFile& file) {
            QByteArray text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<clip>\n";
            while (text.size() < options.textKiB * 1024) {
                const quint64 r = noise.next();
                text += "  <keyframe time=\"" + QByteArray::number(r % 100000) + "\" value=\"" +
                        QByteArray::number(double(r % 10000) / 100.0) + "\" easing=\"" +
                        (r & 1 ? "linear" : "ease-in-out") + "\"/>\n";
            }
            text.truncate(options.textKiB * 1024 - 8);
            file.write(text + "\n</clip>");
        });
    }
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Runs `child` in a forked process and reports its wall time and peak RSS (from wait4).
Run measure(const std::function<int()>& child) {
    std::fflush(nullptr);
    ::sync();  // the previous run's output must not be written back during this one
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = ::fork();
    if (pid < 0)
        die("fork failed");
    if (pid == 0)
        ::_exit(child());
    int status = 0;
    struct rusage usage;
    if (::wait4(pid, &status, 0, &usage) != pid)
        die("wait4 failed");
    Run run;
    run.seconds = secondsSince(start);
    run.peakKiB = usage.ru_maxrss;
    run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return run;
}

int packOurs(const QString& folder, const QString& package) {
    try {
        Bundle::Zip::compressAll(package, folder);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}

int packWithZip(const QString& folder, const QString& package) {
    if (::chdir(QFile::encodeName(folder).constData()) != 0)
        return 1;
    const QByteArray out = QFile::encodeName(package);
    ::execlp("zip", "zip", "-q", "-r", "-n", ".mp4:.png", out.constData(), ".", nullptr);
    std::perror("zip");
    return 127;
}

double mib(qint64 bytes) {
    return double(bytes) / (1024.0 * 1024.0);
}

void compare(const Options& options, const QString& work, qint64 mediaMiB) {
    const QString tree = QStringLiteral("%1/tree-%2").arg(work).arg(mediaMiB);
    makeTree(tree, options, mediaMiB);
    const QString ours = work + "/ours.qpack";
    const QString theirs = work + "/theirs.zip";

    Run best[2];
    qint64 sizes[2] = {0, 0};
    for (int round = 0; round < options.rounds; ++round) {
        const Run runs[2] = {measure([&] { return packOurs(tree, ours); }),
                             measure([&] { return packWithZip(tree, theirs); })};
        for (int i = 0; i < 2; ++i) {
            if (!runs[i].ok)
                die(i == 0 ? "compressAll failed" : "zip failed (is it installed?)");
            if (round == 0 || runs[i].seconds < best[i].seconds)
                best[i].seconds = runs[i].seconds;
            best[i].peakKiB = std::max(best[i].peakKiB, runs[i].peakKiB);
        }
        sizes[0] = QFile(ours).size();
        sizes[1] = QFile(theirs).size();
        QFile::remove(ours);
        QFile::remove(theirs);
    }
    QDir(tree).removeRecursively();

    const qint64 input = qint64(options.mediaFiles) * (mediaMiB << 20) +
                         qint64(options.textFiles) * options.textKiB * 1024;
    std::printf("\n%d media x %lld MiB + %d xml x %d KiB = %.1f MiB, best of %d\n",
                options.mediaFiles, static_cast<long long>(mediaMiB), options.textFiles,
                options.textKiB, mib(input), options.rounds);
    std::printf("  %-22s %9s %10s %15s %14s\n", "", "time (s)", "MiB/s", "peak RSS (MiB)",
                "package (MiB)");
    const char* names[2] = {"Bundle::Zip", "zip -r -n .mp4:.png"};
    for (int i = 0; i < 2; ++i)
        std::printf("  %-22s %9.3f %10.1f %15.1f %14.1f\n", names[i], best[i].seconds,
                    mib(input) / best[i].seconds, best[i].peakKiB / 1024.0, mib(sizes[i]));
    std::printf("  time ours/zip %.2f\n", best[0].seconds / best[1].seconds);
}

std::vector<qint64> parseSizes(const char* text) {
    std::vector<qint64> sizes;
    for (const QByteArray& part : QByteArray(text).split(',')) {
        bool ok = false;
        const qint64 size = part.toLongLong(&ok);
        if (!ok || size <= 0)
            die("bad size list: " + std::string(text));
        sizes.push_back(size);
    }
    return sizes;
}

int number(const char* text) {
    bool ok = false;
    const int value = QByteArray(text).toInt(&ok);
    if (!ok || value < 0)
        die("bad number: " + std::string(text));
    return value;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (i + 1 >= argc)
            die("usage: pack_bench [--media-mib 64,512] [--media-files 2] [--text-files 2000] "
                "[--text-kib 8] [--rounds 3] [--dir PATH]");
        const char* value = argv[++i];
        if (arg == "--media-mib")
            options.mediaMiB = parseSizes(value);
        else if (arg == "--media-files")
            options.mediaFiles = number(value);
        else if (arg == "--text-files")
            options.textFiles = number(value);
        else if (arg == "--text-kib")
            options.textKiB = std::max(1, number(value));
        else if (arg == "--rounds")
            options.rounds = std::max(1, number(value));
        else if (arg == "--dir")
            options.dir = QString::fromLocal8Bit(value);
        else
            die("unknown option " + arg);
    }

    QTemporaryDir work(options.dir + "/pack_bench-XXXXXX");
    if (!work.isValid())
        die("cannot create a work folder in " + options.dir.toStdString());
    struct rusage self;
    ::getrusage(RUSAGE_SELF, &self);
    std::printf(
        "work folder %s; this driver's own peak RSS %.1f MiB (a forked child starts "
        "from its copy)\n",
        work.path().toLocal8Bit().constData(), self.ru_maxrss / 1024.0);
    for (const qint64 size : options.mediaMiB)
        compare(options, work.path(), size);
    return 0;
}
