#include "platform/bundle/folder_content_source.h"

#include <QFile>
#include <QFileInfo>
#include <QImageReader>

#include "platform/bundle/flat_writer.h"
#include "platform/serialize/error.h"

namespace Bundle {
namespace {

// Images larger than this are refused before decoding: a hostile package could otherwise make a
// tiny PNG decode to gigabytes.
constexpr qint64 kMaxImagePixels = qint64(16384) * 16384;
constexpr qint64 kMaxBlobBytes = qint64(256) << 20;

}  // namespace

FolderContentSource::FolderContentSource(const QString& folder) : m_folder(folder) {}

QString FolderContentSource::resolve(const QString& name) const {
    if (!isPlainFileName(name))
        throw Serialize::Error(QStringLiteral("'%1' is not a plain file name").arg(name));
    const QString path = m_folder + QLatin1Char('/') + name;
    const QFileInfo info(path);
    if (!info.isFile() || info.isSymLink())
        throw Serialize::Error(
            QStringLiteral("%1 does not exist or is not a regular file").arg(path));
    return path;
}

Types::Image FolderContentSource::GetImage(const QString& name) {
    const QString path = resolve(name);
    QImageReader reader(path);
    const QSize size = reader.size();
    if (size.isValid() && qint64(size.width()) * size.height() > kMaxImagePixels)
        throw Serialize::Error(QStringLiteral("%1 is too large an image (%2 x %3)")
                                   .arg(path)
                                   .arg(size.width())
                                   .arg(size.height()));
    const QImage image = reader.read();
    if (image.isNull())
        throw Serialize::Error(
            QStringLiteral("%1 is not a readable image: %2").arg(path, reader.errorString()));
    return Types::Image(QPixmap::fromImage(image));
}

QByteArray FolderContentSource::GetBlob(const QString& name) {
    const QString path = resolve(name);
    QFile file(path);
    if (file.size() > kMaxBlobBytes)
        throw Serialize::Error(
            QStringLiteral("%1 is too large (%2 bytes)").arg(path).arg(file.size()));
    if (!file.open(QIODevice::ReadOnly))
        throw Serialize::Error(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
    return file.readAll();
}

}  // namespace Bundle
