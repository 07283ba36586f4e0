#include "platform/fs/fs.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

namespace FS {

bool copy(const QString& from, const QString& to) {
    // QFile::copy refuses an existing target and writes through a temporary file that it
    // renames, so a failed copy leaves nothing half-written under the target name.
    if (QFileInfo::exists(to) || !QFileInfo(from).isFile())
        return false;
    return QFile::copy(from, to);
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
