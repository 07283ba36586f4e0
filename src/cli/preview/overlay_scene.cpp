#include "cli/preview/overlay_scene.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace Cli::Preview {
namespace {

// One colour per item, so that the scene and the time strip can be read together.
QColor itemColour(size_t index) {
    return QColor::fromHsv(int((index * 67) % 360), 150, 230);
}

}  // namespace

QImage OverlayScene::draw(const Overlay::Preset& preset, const StillLookup& still, int width) {
    const int height = int(std::lround(width * kSceneHeight / kSceneWidth));
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor(40, 44, 52));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QTransform toImage = QTransform::fromScale(width / kSceneWidth, height / kSceneHeight);
    const QTransform unitToScene = QTransform::fromScale(kSceneWidth, kSceneHeight);
    for (size_t i = 0; i < preset.items.size(); ++i) {
        const Overlay::Item& item = preset.items[i];
        const QTransform placement = item.transform.toQTransform();
        const QColor colour = itemColour(i);
        painter.save();
        if (item.kind == Overlay::Item::Video) {
            const QImage picture = still(item.resource);
            const QSizeF size =
                picture.isNull() ? QSizeF(kSceneWidth, kSceneHeight) : QSizeF(picture.size());
            painter.setTransform(placement * toImage);
            const QRectF box(QPointF(0, 0), size);
            if (!picture.isNull())
                painter.drawImage(box, picture);
            painter.setPen(QPen(colour, 0));
            painter.drawRect(box);
        } else {
            const QPolygonF box = (placement * unitToScene * toImage).map(QRectF(0, 0, 1, 1));
            QColor fill = colour;
            fill.setAlpha(item.kind == Overlay::Item::Shape ? 160 : 70);
            painter.setBrush(fill);
            painter.setPen(QPen(colour, 1.5));
            painter.drawPolygon(box);
            const QRectF bounds = box.boundingRect();
            if (item.kind == Overlay::Item::Text && !item.content.isEmpty()) {
                QFont font = painter.font();
                font.setPixelSize(std::max(6, int(bounds.height() * 0.6)));
                painter.setFont(font);
                painter.setPen(Qt::white);
                painter.drawText(bounds, Qt::AlignCenter | Qt::TextWordWrap, item.content);
            }
        }
        painter.restore();
    }
    return image;
}

}  // namespace Cli::Preview
