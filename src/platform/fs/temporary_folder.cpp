#include "platform/fs/temporary_folder.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace FS {

TemporaryFolder::TemporaryFolder(const QString& kind) {
    removeStaleTemporaries(QDir::tempPath());
    for (int attempt = 0; attempt < 16 && path_.isEmpty(); ++attempt) {
        const QString candidate = temporaryInTempFolder(kind);
        registration_.reset(candidate);
        if (::mkdir(QFile::encodeName(candidate).constData(), 0700) == 0) {
            path_ = candidate;
        } else if (errno != EEXIST) {
            error_ = QStringLiteral("cannot create %1: %2")
                         .arg(candidate, QString::fromLocal8Bit(std::strerror(errno)));
            registration_.reset();
            return;
        }
    }
    if (path_.isEmpty()) {
        registration_.reset();
        error_ = QStringLiteral("cannot find a free name in %1").arg(QDir::tempPath());
    }
}

TemporaryFolder::~TemporaryFolder() {
    if (!path_.isEmpty())
        removeAllAt(path_);
}

}  // namespace FS
