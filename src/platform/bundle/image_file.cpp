#include "platform/bundle/image_file.h"

#include <QFileInfo>
#include <QImageReader>

#include "platform/bundle/bundle_error.h"

namespace Bundle {
namespace {

[[noreturn]] void fail(const QString& path, const QString& what) {
    throw Error(QStringLiteral("%1: %2").arg(path, what).toStdString());
}

QSize checkedSize(QImageReader& reader, const QString& path, const ReadLimits& limits) {
    const QFileInfo info(path);
    if (!info.isFile())
        fail(path, QStringLiteral("the image is missing or not a regular file"));
    const QSize size = reader.size();
    if (!size.isValid()) {
        const QString why =
            reader.canRead() ? QStringLiteral("its header declares no size") : reader.errorString();
        fail(path, QStringLiteral("is not a readable image: %1").arg(why));
    }
    const qint64 width = size.width();
    const qint64 height = size.height();
    if (width > limits.maxImageSide || height > limits.maxImageSide ||
        width * height > limits.maxImagePixels)
        fail(path, QStringLiteral("the image is %1 x %2 pixels, larger than the limit of %3 pixels "
                                  "a side and %4 pixels in all")
                       .arg(width)
                       .arg(height)
                       .arg(limits.maxImageSide)
                       .arg(limits.maxImagePixels));
    return size;
}

}  // namespace

QSize checkedImageSize(const QString& path, const ReadLimits& limits) {
    QImageReader reader(path);
    return checkedSize(reader, path, limits);
}

QImage readImageFile(const QString& path, const ReadLimits& limits) {
    QImageReader reader(path);
    checkedSize(reader, path, limits);
    const QImage image = reader.read();
    if (image.isNull())
        fail(path, QStringLiteral("is not a readable image: %1").arg(reader.errorString()));
    return image;
}

}  // namespace Bundle
