// The tool stopped by a signal, killed outright, or pointed at one of its own inputs: nothing it
// was writing stays behind, and nothing it read is replaced.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <signal.h>

#include "test_support.h"

namespace {

QStringList entries(const QString& folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                  QDir::NoDotAndDotDot);
}

// A recipe whose build takes long enough to be caught half-way: one import of a large file.
struct SlowBuild {
    QTemporaryDir dir;
    QString recipe = dir.filePath("in/r.json");
    QString output = dir.filePath("out/big.qpack");
    QString temp = dir.filePath("tmp");

    SlowBuild() {
        QDir().mkpath(temp);
        QDir().mkpath(dir.filePath("out"));
        QFile big(dir.filePath("in/big.mov"));
        QDir().mkpath(dir.filePath("in"));
        // Sparse: cheap to make, but every byte is still copied and packed. Imported as "other":
        // zeros are no video, and the content checks would stop a video import.
        if (!big.open(QIODevice::WriteOnly) || !big.resize(qint64(768) << 20))
            ADD_FAILURE() << "cannot make the large input";
        TestSupport::writeFile(recipe,
                               R"({"name": "Big", "output": "../out/big.qpack", "components": [
                {"kind": "import", "importKind": "other", "file": "big.mov"}]})");
    }

    QProcess* start() {
        auto* process = new QProcess;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("TMPDIR", temp);
        // Qt would make its runtime folder in TMPDIR otherwise.
        env.insert("XDG_RUNTIME_DIR", dir.path());
        env.insert("QT_QPA_PLATFORM", "offscreen");
        process->setProcessEnvironment(env);
        process->start(PACKWRIGHT_TOOL, {"build", recipe});
        return process;
    }
};

// A process id that no process has: one of a child that has ended.
qint64 deadProcessId() {
    QProcess child;
    child.start("true", QStringList());
    const qint64 pid = child.processId();
    child.waitForFinished();
    return pid;
}

}  // namespace

TEST(Interrupt, ASignalDuringABuildRemovesTheWorkingCopyAndThePartialPackage) {
    // Caught while the working folder is filled, and while the package is written.
    struct Case {
        int signal;
        bool waitForPackage;
    };
    for (const Case& c : {Case{SIGINT, false}, Case{SIGTERM, true}, Case{SIGHUP, false}}) {
        SCOPED_TRACE(c.signal);
        SlowBuild build;
        std::unique_ptr<QProcess> process(build.start());
        ASSERT_TRUE(process->waitForStarted());
        QElapsedTimer waited;
        waited.start();
        const auto caught = [&] {
            if (c.waitForPackage)
                return entries(build.dir.filePath("out")).size() > 0;
            return entries(build.temp).size() > 0;
        };
        while (!caught() && process->state() == QProcess::Running && waited.elapsed() < 60000)
            QThread::usleep(2000);
        ASSERT_EQ(process->state(), QProcess::Running) << "the build ended before the signal";
        ::kill(pid_t(process->processId()), c.signal);
        ASSERT_TRUE(process->waitForFinished(60000));
        EXPECT_EQ(process->exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process->exitCode(), 128 + c.signal);
        // What failed under the cleanup is not reported as a failure of its own.
        const QString errors = QString::fromUtf8(process->readAllStandardError());
        EXPECT_TRUE(errors.contains("packwright: stopped by")) << errors.toStdString();
        EXPECT_FALSE(errors.contains("error:")) << errors.toStdString();
        EXPECT_EQ(entries(build.temp), QStringList());
        EXPECT_EQ(entries(build.dir.filePath("out")), QStringList());
    }
}

TEST(Interrupt, LeftoversOfAKilledRunAreRemovedByTheNextAndLiveOnesAreKept) {
    QTemporaryDir dir;
    const QString temp = dir.filePath("tmp");
    const QString out = dir.filePath("out");
    const qint64 dead = deadProcessId();
    const qint64 alive = QCoreApplication::applicationPid();
    const QStringList stale = {
        QStringLiteral("%1/packwright-work-%2-abc").arg(temp).arg(dead),
        QStringLiteral("%1/.p.qpack.pw-pack-%2-xyz").arg(out).arg(dead),
    };
    const QStringList kept = {
        QStringLiteral("%1/packwright-work-%2-abc").arg(temp).arg(alive),
        QStringLiteral("%1/.p.qpack.pw-pack-%2-xyz").arg(out).arg(alive),
        QStringLiteral("%1/packwright-notes.txt").arg(temp),
        QStringLiteral("%1/.p.qpack.XXXXXX").arg(out),
    };
    TestSupport::writeFile(stale[0] + "/Big/package.xml", "half");
    TestSupport::writeFile(stale[1], "half a package");
    for (const QString& path : kept)
        TestSupport::writeFile(path, "someone else's");
    TestSupport::writeFile(dir.filePath("r.json"),
                           R"({"name": "p", "output": "out/p.qpack", "components": []})");

    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("TMPDIR", temp);
    env.insert("XDG_RUNTIME_DIR", dir.path());
    process.setProcessEnvironment(env);
    process.start(PACKWRIGHT_TOOL, {"build", dir.filePath("r.json")});
    ASSERT_TRUE(process.waitForFinished(60000));
    ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    for (const QString& path : stale)
        EXPECT_FALSE(QFileInfo::exists(path)) << path.toStdString();
    for (const QString& path : kept)
        EXPECT_TRUE(QFileInfo::exists(path)) << path.toStdString();
}

TEST(Interrupt, AnOutputThatIsOneOfTheInputsIsRefusedBeforeAnythingIsWritten) {
    QTemporaryDir dir;
    const QByteArray cube =
        TestSupport::readFile(PACKWRIGHT_SOURCE_DIR "/examples/effects/warm-afternoon.cube");
    TestSupport::writeFile(dir.filePath("looks/warm.cube"), cube);
    TestSupport::writeFile(
        dir.filePath("media/title.json"),
        TestSupport::readFile(PACKWRIGHT_SOURCE_DIR "/examples/media/title.json"));
    TestSupport::writeFile(
        dir.filePath("media/beach.mp4"),
        TestSupport::readFile(PACKWRIGHT_SOURCE_DIR "/examples/media/beach.mp4"));
    const QByteArray recipe = R"({"name": "Mixed", "components": [
        {"kind": "lut-effect", "title": "Warm", "lut": "looks/warm.cube"},
        {"kind": "overlay", "timeline": "media/title.json"}]})";
    TestSupport::writeFile(dir.filePath("r.json"), recipe);
    QFile::link(dir.filePath("looks/warm.cube"), dir.filePath("alias.qpack"));

    const QStringList outputs = {"r.json",      "looks/warm.cube",  "looks/../looks/warm.cube",
                                 "alias.qpack", "media/title.json", "media/beach.mp4"};
    for (const QString& output : outputs) {
        SCOPED_TRACE(output.toStdString());
        const auto result =
            TestSupport::tool({"build", dir.filePath("r.json"), "-o", dir.filePath(output)});
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(result.errors.contains("is an input of this command"))
            << result.errors.toStdString();
    }
    EXPECT_EQ(TestSupport::readFile(dir.filePath("r.json")), recipe);
    EXPECT_EQ(TestSupport::readFile(dir.filePath("looks/warm.cube")), cube);
    EXPECT_EQ(TestSupport::readFile(dir.filePath("media/beach.mp4")),
              TestSupport::readFile(PACKWRIGHT_SOURCE_DIR "/examples/media/beach.mp4"));
    EXPECT_EQ(TestSupport::readFile(dir.filePath("media/title.json")),
              TestSupport::readFile(PACKWRIGHT_SOURCE_DIR "/examples/media/title.json"));
}
