#include "platform/bundle/abstract_content_receiver.h"

#include <QBuffer>

#include "platform/bundle/bundle_error.h"

namespace Bundle {

AbstractContentReceiver::AbstractContentReceiver(const std::shared_ptr<IContentWriter>& writer)
    : m_writer(writer) {}

QString AbstractContentReceiver::PutImage(const Types::Image& image) {
    if (image.isNull())
        return QString();
    ++m_images;
    const QString base = imageBaseName().isEmpty() ? QStringLiteral("image") : imageBaseName();
    const QString name = m_images == 1 ? base + QStringLiteral(".png")
                                       : QStringLiteral("%1_%2.png").arg(base).arg(m_images);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG"))
        throw Error(QStringLiteral("cannot encode the image '%1' as PNG").arg(name).toStdString());
    m_writer->writeContent(name, png);
    return name;
}

QString AbstractContentReceiver::PutBlob(const QByteArray& data) {
    ++m_blobs;
    const QString base = blobBaseName().isEmpty() ? QStringLiteral("blob") : blobBaseName();
    const QString name = QStringLiteral("%1_%2.bin").arg(base).arg(m_blobs);
    m_writer->writeContent(name, data);
    return name;
}

}  // namespace Bundle
