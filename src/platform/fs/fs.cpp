#include "platform/fs/fs.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/fs/atomic_file.h"
#include "platform/fs/env.h"
#include "platform/fs/scratch_area.h"

namespace FS {
namespace {

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
    // In a scratch area a second name of the source will do: nothing there is edited in place.
    const bool scratch = ScratchArea::contains(to);
    if (scratch) {
        const int code = Env::current().link(from, to);
        if (code == 0)
            return true;
        if (code == EEXIST)
            return false;
        // Where links cannot be made, a copy does; a full or failing disk fails the copy too.
        if (code != EXDEV && code != EPERM && code != EMLINK && code != EOPNOTSUPP &&
            code != ENOSYS && code != EACCES && code != EINVAL)
            throw Error(QStringLiteral("create"), to, code);
    }
#ifdef POSIX_FADV_SEQUENTIAL
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
    // Written beside the target and renamed into place, so that a failed copy leaves nothing
    // under the target's name; a failed write throws, unlike a missing source. The kernel copies
    // the bytes, or shares them where the file system can.
    AtomicFile target(to, QStringLiteral("copy"));
    target.appendFrom(fd);
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
