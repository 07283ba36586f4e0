#include "cli/file_hash.h"

#include <QCryptographicHash>
#include <QFile>

#include <cerrno>

#include "platform/fs/fs_error.h"

namespace Cli {

QString sha256Of(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw FS::Error(QStringLiteral("read"), path, errno ? errno : EIO);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!hash.addData(&file) || file.error() != QFileDevice::NoError)
        throw FS::Error(QStringLiteral("read"), path, EIO);
    return QString::fromLatin1(hash.result().toHex());
}

}  // namespace Cli
