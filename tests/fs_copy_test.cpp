#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <sys/stat.h>

#include <cerrno>

#include "fault_env.h"
#include "platform/fs/atomic_file.h"
#include "platform/fs/env.h"
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

// The system's files, noting which bytes were sent to the device ahead of the sync.
class WritebackEnv : public FS::Env {
public:
    WritebackEnv() : m_previous(FS::Env::install(this)) {}
    ~WritebackEnv() override { FS::Env::install(m_previous); }

    qint64 started = 0;  // bytes whose writing was started early
    qint64 end = 0;      // the end of the last range started

    int newWritableFile(const QString& path, std::unique_ptr<FS::WritableFile>* file) override {
        std::unique_ptr<FS::WritableFile> real;
        if (const int code = FS::Env::system().newWritableFile(path, &real))
            return code;
        file->reset(new File(*this, std::move(real)));
        return 0;
    }
    int rename(const QString& from, const QString& to) override {
        return FS::Env::system().rename(from, to);
    }
    int syncFolder(const QString& folder) override { return FS::Env::system().syncFolder(folder); }

private:
    class File : public FS::WritableFile {
    public:
        File(WritebackEnv& env, std::unique_ptr<FS::WritableFile> file)
            : m_env(env), m_file(std::move(file)) {}
        int write(const char* data, qint64 size) override { return m_file->write(data, size); }
        int seek(qint64 offset) override { return m_file->seek(offset); }
        int sync() override { return m_file->sync(); }
        int close() override { return m_file->close(); }
        int startWriteback(qint64 offset, qint64 size) override {
            EXPECT_EQ(offset, m_env.end);  // each range follows the one before
            m_env.started += size;
            m_env.end = offset + size;
            return m_file->startWriteback(offset, size);
        }

    private:
        WritebackEnv& m_env;
        std::unique_ptr<FS::WritableFile> m_file;
    };

    FS::Env* m_previous;
};

// A large file that will be synced is sent to the device while it is written, in small and large
// pieces alike; one in a scratch area, never synced, is left to the system.
TEST(FsAtomicFile, WritesBehindWhatItWillSync) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QByteArray data = bytes(3 << 20);
    {
        WritebackEnv env;
        FS::AtomicFile file(dir.filePath("kept.bin"));
        for (int i = 0; i < 4; ++i)
            file.append(data);  // straight through
        for (int i = 0; i < (4 << 10); ++i)
            file.append(data.constData() + i, 3 << 10);  // gathered first
        file.commit();
        EXPECT_GE(env.started, 16 << 20);
        EXPECT_LE(env.started, 24 << 20);
    }
    EXPECT_EQ(QFileInfo(dir.filePath("kept.bin")).size(), 24 << 20);
    {
        const FS::ScratchArea scratch(dir.filePath("scratch"));
        ASSERT_TRUE(QDir(dir.path()).mkdir("scratch"));
        WritebackEnv env;
        FS::AtomicFile file(dir.filePath("scratch/work.bin"));
        for (int i = 0; i < 8; ++i)
            file.append(data);
        file.commit();
        EXPECT_EQ(env.started, 0);
    }
}

}  // namespace
