// Sweeps a failing disk over every write, rename and sync of whole commands: for each N the N-th
// operation fails, and the command must fail with one clear message, leave no package and no
// temporary, and leave every file it would have replaced as it was.

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTextStream>

#include <cerrno>
#include <cstring>
#include <functional>
#include <map>

#include "cli/commands.h"
#include "fault_env.h"
#include "platform/fs/temporary_paths.h"
#include "test_support.h"

namespace {

const QString kExamples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/");

struct Result {
    int code = 0;
    QString output;
    QString errors;
};

Result runCommand(const QStringList& arguments) {
    Result result;
    QTextStream out(&result.output);
    QTextStream err(&result.errors);
    result.code = Cli::run(arguments, out, err);
    return result;
}

// Every file and folder below `folder` (hidden ones too), with the bytes of the files.
std::map<QString, QByteArray> tree(const QString& folder) {
    std::map<QString, QByteArray> entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString name = QDir(folder).relativeFilePath(path);
        entries[name] =
            it.fileInfo().isDir() ? QByteArray("<folder>") : TestSupport::readFile(path);
    }
    return entries;
}

std::string names(const std::map<QString, QByteArray>& entries) {
    QStringList list;
    for (const auto& entry : entries)
        list << entry.first;
    return list.join(QLatin1Char(' ')).toStdString();
}

// Memory-backed when the machine has it: the sweep makes and removes thousands of folders, which
// a journalling disk shared with other work turns into minutes.
QString sweepRoot() {
    const QString shm = QStringLiteral("/dev/shm");
    return QFileInfo(shm).isDir() && QFileInfo(shm).isWritable()
               ? shm + QStringLiteral("/fault_sweep_test-XXXXXX")
               : QString();
}

class FaultSweep : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(root_.isValid());
        previousTmp_ = qgetenv("TMPDIR");
        hadTmp_ = qEnvironmentVariableIsSet("TMPDIR");
        // Every temporary of the commands lands here, so that leftovers can be seen.
        tmp_ = root_.filePath(QStringLiteral("tmp"));
        out_ = root_.filePath(QStringLiteral("out"));
        src_ = root_.filePath(QStringLiteral("src"));
        ASSERT_TRUE(QDir().mkpath(tmp_) && QDir().mkpath(out_) && QDir().mkpath(src_));
        qputenv("TMPDIR", QFile::encodeName(tmp_));
        ASSERT_EQ(QDir::tempPath(), tmp_);
        for (const char* file :
             {"preview.png", "effects/warm-afternoon.cube", "effects/soft-vignette.frag",
              "effects/grain.png", "media/sunset.jpg", "media/beach.mp4", "media/title.json",
              "media/intro.json"})
            TestSupport::writeFile(src_ + QLatin1Char('/') + QLatin1String(file),
                                   TestSupport::readFile(kExamples + QLatin1String(file)));
    }

    void TearDown() override {
        if (hadTmp_)
            qputenv("TMPDIR", previousTmp_);
        else
            qunsetenv("TMPDIR");
    }

    QString writeRecipe(const QString& name, const QByteArray& components) {
        const QString path = src_ + QLatin1Char('/') + name;
        TestSupport::writeFile(path,
                               "{\"name\": \"Sweep\", \"preview\": \"preview.png\", "
                               "\"components\": [" +
                                   components + "]}");
        return path;
    }

    // Runs `command` once to count its operations, then once for each operation failing with
    // `code`. `reset` puts the output folder back as it was before each run.
    void sweep(const QStringList& command, int code, const std::function<void()>& reset) {
        TestSupport::FaultEnv env;
        reset();
        env.failAt(0, 0);
        const Result clean = runCommand(command);
        ASSERT_EQ(clean.code, 0) << clean.errors.toStdString();
        const int operations = env.count();
        ASSERT_GT(operations, 3);
        const QString reason = QString::fromLocal8Bit(std::strerror(code));
        for (int n = 1; n <= operations; ++n) {
            reset();
            const auto before = tree(out_);
            const auto sources = tree(src_);
            env.failAt(n, code);
            const Result failed = runCommand(command);
            const std::string what = QStringLiteral("%1 failing (%2 of %3): %4")
                                         .arg(command.front())
                                         .arg(n)
                                         .arg(operations)
                                         .arg(env.failure())
                                         .toStdString();
            ASSERT_TRUE(env.failed()) << what;
            EXPECT_EQ(failed.code, 1) << what << "\n" << failed.output.toStdString();
            // One line that names a file of ours and the system's reason.
            const QStringList lines = failed.errors.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
            EXPECT_EQ(lines.size(), 1) << what << "\n" << failed.errors.toStdString();
            EXPECT_TRUE(failed.errors.startsWith(QLatin1String("packwright: error: ")))
                << what << "\n"
                << failed.errors.toStdString();
            EXPECT_TRUE(failed.errors.contains(root_.path() + QLatin1Char('/')))
                << what << "\n"
                << failed.errors.toStdString();
            EXPECT_TRUE(failed.errors.contains(reason)) << what << "\n"
                                                        << failed.errors.toStdString();
            const auto after = tree(out_);
            EXPECT_EQ(names(after), names(before)) << what;
            EXPECT_TRUE(after == before) << what << ": a file that was there changed";
            EXPECT_TRUE(tree(src_) == sources) << what << ": a source changed";
            EXPECT_EQ(names(tree(tmp_)), "") << what;
            EXPECT_EQ(FS::TemporaryPaths::registered().join(QLatin1Char(' ')).toStdString(), "")
                << what;
            if (HasFailure())
                return;  // one broken case says enough; the rest would repeat it
        }
    }

    QTemporaryDir root_ = sweepRoot().isEmpty() ? QTemporaryDir() : QTemporaryDir(sweepRoot());
    QByteArray previousTmp_;
    bool hadTmp_ = false;
    QString tmp_, out_, src_;
};

const QByteArray kComponents = R"(
    {"kind": "lut-effect", "title": "Warm", "lut": "effects/warm-afternoon.cube"},
    {"kind": "shader-effect", "title": "Vignette", "shader": "effects/soft-vignette.frag",
     "auxImage": "effects/grain.png", "supportsIntensity": true},
    {"kind": "import", "title": "Sunset", "file": "media/sunset.jpg", "importKind": "image"},
    {"kind": "overlay", "overlayType": "title", "timeline": "media/title.json",
     "firstItemSpan": 300, "secondItemSpan": 300, "useMediaTiming": true},
    {"kind": "intro", "title": "Opener", "timeline": "media/intro.json"}
)";

const QByteArray kEditable = R"(
    {"kind": "intermediate-overlay", "overlayType": "title", "timeline": "media/title.json",
     "firstItemSpan": 300, "secondItemSpan": 300,
     "videoTiming": {"start": 0, "length": 2000, "frameRate": 25000}}
)";

TEST_F(FaultSweep, BuildReplacesNothingAndLeavesNothingOnAFailingDisk) {
    const QString recipe = writeRecipe(QStringLiteral("recipe.json"), kComponents);
    const QString package = out_ + QStringLiteral("/sweep.qpack");
    // Without the checks' cache, whose writes would make the runs differ (and whose failures do
    // not fail a build).
    const QStringList command = {QStringLiteral("build"),     recipe,
                                 QStringLiteral("-o"),        package,
                                 QStringLiteral("--strict"),  QStringLiteral("--force"),
                                 QStringLiteral("--no-cache")};
    // A full disk meets a package that is there already; an I/O error meets none.
    sweep(command, ENOSPC, [&] { TestSupport::writeFile(package, "the package of yesterday"); });
    ASSERT_FALSE(HasFailure());
    sweep(command, EIO, [&] { QFile::remove(package); });
}

TEST_F(FaultSweep, OpenRecipeReplacesBothFilesOrNeither) {
    ASSERT_EQ(runCommand({QStringLiteral("build"), writeRecipe(QStringLiteral("e.json"), kEditable),
                          QStringLiteral("-o"), src_ + QStringLiteral("/editable.qpack")})
                  .code,
              0);
    const QString into = out_ + QStringLiteral("/opened");
    const QString recipe = out_ + QStringLiteral("/again.json");
    const QStringList command = {
        QStringLiteral("open"),     src_ + QStringLiteral("/editable.qpack"),
        QStringLiteral("--into"),   into,
        QStringLiteral("--recipe"), recipe,
        QStringLiteral("--force")};
    const auto reset = [&] {
        FS::removeAllAt(into);
        TestSupport::writeFile(recipe, "the recipe of yesterday");
        TestSupport::writeFile(out_ + QStringLiteral("/again.timeline.json"), "its timeline");
    };
    sweep(command, ENOSPC, reset);
    ASSERT_FALSE(HasFailure());
    sweep(command, EIO, reset);
}

TEST_F(FaultSweep, FinalizeLeavesNoPackageOnAFailingDisk) {
    ASSERT_EQ(runCommand({QStringLiteral("build"), writeRecipe(QStringLiteral("e.json"), kEditable),
                          QStringLiteral("-o"), src_ + QStringLiteral("/editable.qpack")})
                  .code,
              0);
    const QStringList command = {QStringLiteral("finalize"),
                                 src_ + QStringLiteral("/editable.qpack"), QStringLiteral("-C"),
                                 out_};
    const auto reset = [&] {
        // Finished packages are named after the package, not the file.
        FS::removeAllAt(out_ + QStringLiteral("/Sweep.qpack"));
        TestSupport::writeFile(out_ + QStringLiteral("/other.qpack"), "another package");
    };
    sweep(command, ENOSPC, reset);
    ASSERT_FALSE(HasFailure());
    sweep(command, EIO, reset);
}

}  // namespace
