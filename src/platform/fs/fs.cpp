#include "platform/fs/fs.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "platform/fs/atomic_file.h"

namespace FS {
namespace {

constexpr qint64 kCopyChunk = qint64(1) << 20;

struct ReadOnlyFd {
    int fd;
    ~ReadOnlyFd() { ::close(fd); }
};

}  // namespace

bool copy(const QString& from, const QString& to) {
    if (QFileInfo::exists(to) || QFileInfo(to).isSymLink())
        return false;
    const int fd = ::open(QFile::encodeName(from).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const ReadOnlyFd closer{fd};
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        return false;
#ifdef POSIX_FADV_SEQUENTIAL
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
    // Written beside the target and renamed into place, so that a failed copy leaves nothing
    // under the target's name; a failed write throws, unlike a missing source.
    AtomicFile target(to, QStringLiteral("copy"));
    std::vector<char> buffer(static_cast<size_t>(kCopyChunk));
    for (;;) {
        const ssize_t n = ::read(fd, buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;  // the source cannot be read: as if it were missing
        if (n == 0)
            break;
        target.append(buffer.data(), n);
    }
    target.commit(false);
    return true;
}

bool exists(const QString& path) {
    return !path.isEmpty() && QFileInfo::exists(path);
}

bool makePath(const QString& path) {
    return !path.isEmpty() && QDir().mkpath(path);
}

QString cleanPath(const QString& path) {
    return QDir::cleanPath(path);
}

QString fileName(const QString& path) {
    return QFileInfo(path).fileName();
}

QString baseName(const QString& path) {
    return QFileInfo(path).completeBaseName();
}

qint64 pathSize(const QString& path) {
    const QFileInfo info(path);
    if (info.isSymLink())
        return 0;
    if (info.isFile())
        return info.size();
    if (!info.isDir())
        return 0;
    qint64 total = 0;
    QDirIterator it(path, QDir::Files | QDir::Hidden | QDir::System | QDir::NoSymLinks,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        total += it.fileInfo().size();
    }
    return total;
}

}  // namespace FS
