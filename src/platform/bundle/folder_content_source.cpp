#include "platform/bundle/folder_content_source.h"

#include <QFile>
#include <QFileInfo>

#include "platform/bundle/bundle_error.h"
#include "platform/bundle/flat_writer.h"
#include "platform/bundle/image_file.h"
#include "platform/serialize/error.h"
#include "platform/serialize/no_gui_application_error.h"

namespace Bundle {

FolderContentSource::FolderContentSource(const QString& folder, const ReadLimits& limits)
    : m_folder(folder), m_limits(limits) {}

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
    Types::requireGuiApplication(QStringLiteral("reading the image %1").arg(path));
    QImage image;
    try {
        image = readImageFile(path, m_limits);
    } catch (const Error& error) {
        // What the archive names is the archive's problem: report it as the reader's.
        throw Serialize::Error(QString::fromUtf8(error.what()));
    }
    return Types::Image(QPixmap::fromImage(image));
}

QByteArray FolderContentSource::GetBlob(const QString& name) {
    const QString path = resolve(name);
    QFile file(path);
    if (file.size() > m_limits.maxBlobBytes)
        throw Serialize::Error(
            QStringLiteral("%1 is too large (%2 bytes)").arg(path).arg(file.size()));
    if (!file.open(QIODevice::ReadOnly))
        throw Serialize::Error(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
    return file.readAll();
}

}  // namespace Bundle
