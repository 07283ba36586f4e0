#include "platform/fs/env.h"

#include <QFile>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <vector>

namespace FS {
namespace {

int errorOf(int result) {
    return result == 0 ? 0 : errno;
}

class PosixWritableFile : public WritableFile {
public:
    explicit PosixWritableFile(int fd) : fd_(fd) {}
    ~PosixWritableFile() override {
        if (fd_ >= 0)
            ::close(fd_);
    }

    int write(const char* data, qint64 size) override {
        while (size > 0) {
            const ssize_t n = ::write(fd_, data, size_t(std::min<qint64>(size, SSIZE_MAX)));
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0)
                return errno;
            if (n == 0)
                return EIO;
            data += n;
            size -= n;
        }
        return 0;
    }

    int copyFrom(int fd, qint64* copied) override {
        *copied = 0;
        struct stat from, to;
        if (::fstat(fd, &from) != 0 || ::fstat(fd_, &to) != 0)
            return errno;
        const off_t start = ::lseek(fd, 0, SEEK_CUR);
        // A whole file into an empty one: share its blocks where the file system can.
        if (start == 0 && to.st_size == 0 && ::lseek(fd_, 0, SEEK_CUR) == 0 &&
            ::ioctl(fd_, FICLONE, fd) == 0) {
            *copied = from.st_size;
            return ::lseek(fd_, 0, SEEK_END) < 0 || ::lseek(fd, 0, SEEK_END) < 0 ? errno : 0;
        }
        // Else the kernel copies, without the data passing through here.
        while (true) {
            const ssize_t n = ::copy_file_range(fd, nullptr, fd_, nullptr, size_t(1) << 30, 0);
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0) {
                if (*copied == 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS ||
                                     errno == EOPNOTSUPP || errno == EBADF))
                    return WritableFile::copyFrom(fd, copied);  // not between these files
                return errno;
            }
            if (n == 0)
                return 0;
            *copied += n;
        }
    }

    int startWriteback(qint64 offset, qint64 size) override {
        return errorOf(::sync_file_range(fd_, off_t(offset), off_t(size), SYNC_FILE_RANGE_WRITE));
    }

    int seek(qint64 offset) override {
        return ::lseek(fd_, off_t(offset), SEEK_SET) < 0 ? errno : 0;
    }

    int sync() override {
        int result;
        do {
            result = ::fsync(fd_);
        } while (result != 0 && errno == EINTR);
        return errorOf(result);
    }

    int close() override {
        const int fd = fd_;
        fd_ = -1;
        // Linux releases the descriptor even when close fails; retrying could close another one.
        return ::close(fd) == 0 || errno == EINTR ? 0 : errno;
    }

private:
    int fd_;
};

class PosixEnv : public Env {
public:
    int newWritableFile(const QString& path, std::unique_ptr<WritableFile>* file) override {
        const QByteArray native = QFile::encodeName(path);
        int fd;
        do {
            fd = ::open(native.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                        0666);
        } while (fd < 0 && errno == EINTR);
        if (fd < 0)
            return errno;
        file->reset(new PosixWritableFile(fd));
        return 0;
    }

    int rename(const QString& from, const QString& to) override {
        return errorOf(
            ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()));
    }

    int syncFolder(const QString& folder) override {
        const int fd =
            ::open(QFile::encodeName(folder.isEmpty() ? QStringLiteral(".") : folder).constData(),
                   O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0)
            return errno;
        int result;
        do {
            result = ::fsync(fd);
        } while (result != 0 && errno == EINTR);
        // Some file systems cannot sync a folder; that is no failure of ours.
        const int code = result == 0 || errno == EINVAL || errno == EROFS ? 0 : errno;
        ::close(fd);
        return code;
    }
};

std::atomic<Env*> installed{nullptr};

}  // namespace

int WritableFile::copyFrom(int fd, qint64* copied) {
    *copied = 0;
    std::vector<char> buffer(size_t(1) << 20);
    while (true) {
        const ssize_t n = ::read(fd, buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        if (n == 0)
            return 0;
        if (const int code = write(buffer.data(), n))
            return code;
        *copied += n;
    }
}

int WritableFile::startWriteback(qint64, qint64) {
    return 0;
}

int Env::link(const QString& from, const QString& to) {
    return errorOf(::linkat(AT_FDCWD, QFile::encodeName(from).constData(), AT_FDCWD,
                            QFile::encodeName(to).constData(), AT_SYMLINK_FOLLOW));
}

Env& Env::system() {
    static PosixEnv env;
    return env;
}

Env& Env::current() {
    Env* env = installed.load(std::memory_order_acquire);
    return env ? *env : system();
}

Env* Env::install(Env* env) {
    return installed.exchange(env, std::memory_order_acq_rel);
}

}  // namespace FS
