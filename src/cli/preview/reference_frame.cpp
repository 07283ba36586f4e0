#include "cli/preview/reference_frame.h"

#include <QImageReader>
#include <QPainter>

#include "cli/cli_error.h"
#include "platform/bundle/image_file.h"

namespace Cli::Preview {

QImage ReferenceFrame::testCard() {
    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    QPainter painter(&image);
    // Colour bars at 75 %, the usual order: white, yellow, cyan, green, magenta, red, blue.
    const QRgb bars[] = {qRgb(191, 191, 191), qRgb(191, 191, 0), qRgb(0, 191, 191), qRgb(0, 191, 0),
                         qRgb(191, 0, 191),   qRgb(191, 0, 0),   qRgb(0, 0, 191)};
    const int barsHeight = kHeight * 55 / 100;
    for (int i = 0; i < 7; ++i) {
        const int left = kWidth * i / 7;
        const int right = kWidth * (i + 1) / 7;
        painter.fillRect(left, 0, right - left, barsHeight, QColor(bars[i]));
    }
    // A full grey ramp shows what a LUT does to every level.
    const int rampTop = barsHeight;
    const int rampHeight = kHeight * 20 / 100;
    for (int x = 0; x < kWidth; ++x) {
        const int level = x * 255 / (kWidth - 1);
        painter.fillRect(x, rampTop, 1, rampHeight, QColor(level, level, level));
    }
    // Tones that grades are judged by: skin, foliage, sky, then black and white.
    const QRgb tones[] = {qRgb(224, 172, 138), qRgb(141, 85, 36), qRgb(80, 120, 50),
                          qRgb(90, 150, 210),  qRgb(16, 16, 16),  qRgb(235, 235, 235)};
    const int tonesTop = rampTop + rampHeight;
    for (int i = 0; i < 6; ++i) {
        const int left = kWidth * i / 6;
        const int right = kWidth * (i + 1) / 6;
        painter.fillRect(left, tonesTop, right - left, kHeight - tonesTop, QColor(tones[i]));
    }
    return image;
}

QImage ReferenceFrame::fromFile(const QString& path) {
    try {
        const QSize size = Bundle::checkedImageSize(path);
        QImageReader reader(path);
        reader.setAutoTransform(true);
        // Decoded at the size it is shown at (JPEG decodes smaller directly).
        reader.setScaledSize(size.scaled(kWidth, kWidth * size.height() / std::max(1, size.width()),
                                         Qt::KeepAspectRatio));
        const QImage image = reader.read();
        if (image.isNull())
            throw Error(
                QStringLiteral("%1: is not a readable image: %2").arg(path, reader.errorString()));
        return image.convertToFormat(QImage::Format_RGB32);
    } catch (const Bundle::Error& error) {
        throw Error(QString::fromUtf8(error.what()));
    }
}

}  // namespace Cli::Preview
