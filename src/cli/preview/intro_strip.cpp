#include "cli/preview/intro_strip.h"

#include <QFileInfo>
#include <QPainter>
#include <algorithm>

#include "platform/model/overlay_preset.h"
#include "platform/model/timeline_clip.h"

namespace Cli::Preview {

QImage IntroStrip::draw(const Timeline::Object& timeline, const Thumbnail& thumbnail, int width) {
    int rows = 1;
    for (const auto& clip : timeline.clips())
        rows = std::max(rows, std::min(kMaxRows, clip->track + 1));
    QImage image(width, rows * kRowHeight, QImage::Format_RGB32);
    image.fill(QColor(30, 30, 36));
    QPainter painter(&image);
    QFont font = painter.font();
    font.setPixelSize(9);
    painter.setFont(font);
    const double duration = std::max<qint64>(1, timeline.duration());
    for (const auto& clip : timeline.clips()) {
        if (clip->track < 0 || clip->track >= kMaxRows)
            continue;
        const double left = clip->timing.position / duration * (width - 1);
        const double span = std::max(2.0, clip->timing.length / duration * (width - 1));
        const QRectF box(left, clip->track * kRowHeight + 2, span, kRowHeight - 4);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(70, 90, 120));
        painter.drawRect(box);
        painter.save();
        painter.setClipRect(box);
        const QImage picture = thumbnail(*clip);
        if (!picture.isNull())
            painter.drawImage(box.topLeft(),
                              picture.scaledToHeight(int(box.height()), Qt::SmoothTransformation));
        QString label = QFileInfo(clip->media.sourcePath).fileName();
        if (clip->overlayPreset())
            label = clip->overlayPreset()->name;
        painter.setPen(Qt::white);
        painter.drawText(box.adjusted(3, 0, -2, -2), Qt::AlignBottom | Qt::AlignLeft, label);
        painter.restore();
        painter.setPen(QColor(200, 200, 200));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(box);
    }
    return image;
}

}  // namespace Cli::Preview
