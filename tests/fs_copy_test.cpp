#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <sys/stat.h>

#include <cerrno>

#include "fault_env.h"
#include "platform/fs/fs.h"
#include "platform/fs/fs_error.h"
#include "platform/fs/scratch_area.h"
#include "platform/fs/temporary_paths.h"
#include "test_support.h"

namespace {

using TestSupport::readFile;

struct stat statOf(const QString& path) {
    struct stat st {};
    EXPECT_EQ(::stat(QFile::encodeName(path).constData(), &st), 0) << path.toStdString();
    return st;
}

bool sameFile(const QString& a, const QString& b) {
    return statOf(a).st_ino == statOf(b).st_ino && statOf(a).st_dev == statOf(b).st_dev;
}

QByteArray bytes(int size) {
    QByteArray data(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        data[i] = char((i * 2654435761u) >> 24);
    return data;
}

// Real copies everywhere but in a scratch area, where a link does; a copy never replaces a file,
// and a failing disk leaves no target.
TEST(FsCopy, LinksOnlyInAScratchAreaAndKeepsItsContractEverywhere) {
    QTemporaryDir dir;
    const QString source = dir.filePath("source.mp4");
    TestSupport::writeFile(source, bytes(3 << 20));
    QDir().mkpath(dir.filePath("out"));
    QDir().mkpath(dir.filePath("scratch"));

    ASSERT_TRUE(FS::copy(source, dir.filePath("out/a.mp4")));
    EXPECT_FALSE(sameFile(source, dir.filePath("out/a.mp4")));
    EXPECT_EQ(readFile(dir.filePath("out/a.mp4")), readFile(source));
    TestSupport::writeFile(dir.filePath("out/b.mp4"), "mine");
    EXPECT_FALSE(FS::copy(source, dir.filePath("out/b.mp4")));
    EXPECT_EQ(readFile(dir.filePath("out/b.mp4")), "mine");

    {
        const FS::ScratchArea area(dir.filePath("scratch"));
        ASSERT_TRUE(FS::copy(source, dir.filePath("scratch/c.mp4")));
        EXPECT_TRUE(sameFile(source, dir.filePath("scratch/c.mp4")));
        EXPECT_FALSE(FS::copy(source, dir.filePath("scratch/c.mp4")));
        ASSERT_TRUE(FS::copy(source, dir.filePath("out/d.mp4")));
        EXPECT_FALSE(sameFile(source, dir.filePath("out/d.mp4")));

        // A link refused falls back to a copy.
        TestSupport::FaultEnv env;
        env.failAt(1, EPERM);
        ASSERT_TRUE(FS::copy(source, dir.filePath("scratch/e.mp4")));
        EXPECT_TRUE(env.failure().startsWith("link ")) << env.failure().toStdString();
        EXPECT_FALSE(sameFile(source, dir.filePath("scratch/e.mp4")));
        EXPECT_EQ(readFile(dir.filePath("scratch/e.mp4")), readFile(source));
        // A full disk does not.
        env.failAt(1, ENOSPC);
        EXPECT_THROW(FS::copy(source, dir.filePath("scratch/h.mp4")), FS::Error);
        EXPECT_FALSE(QFile::exists(dir.filePath("scratch/h.mp4")));
    }
    ASSERT_TRUE(FS::copy(source, dir.filePath("scratch/f.mp4")));
    EXPECT_FALSE(sameFile(source, dir.filePath("scratch/f.mp4")));

    TestSupport::FaultEnv env;
    for (int n = 1; n <= 3; ++n) {
        env.failAt(n, ENOSPC);
        EXPECT_THROW(FS::copy(source, dir.filePath("out/g.mp4")), FS::Error) << n;
        EXPECT_FALSE(QFile::exists(dir.filePath("out/g.mp4")));
        EXPECT_EQ(FS::TemporaryPaths::registered(), QStringList());
    }
    EXPECT_EQ(QDir(dir.filePath("out")).entryList(QDir::Files | QDir::Hidden),
              (QStringList{"a.mp4", "b.mp4", "d.mp4"}));
}

}  // namespace
