#include "cli/preview/time_strip.h"

#include <QPainter>
#include <algorithm>
#include <cmath>

namespace Cli::Preview {
namespace {

constexpr int kRow = 14;
constexpr int kRuler = 14;
constexpr int kMaxRows = 24;  // a merged preset can hold thousands of items

}  // namespace

QImage TimeStrip::draw(const Overlay::Preset& preset, int width) {
    const int rows = int(std::min<size_t>(preset.items.size(), kMaxRows));
    QImage image(width, kRuler + std::max(1, rows) * kRow + 2, QImage::Format_RGB32);
    image.fill(QColor(250, 250, 250));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QFont font = painter.font();
    font.setPixelSize(9);
    painter.setFont(font);
    const double scale = width - 1;
    // The ruler: a mark per second of the preset's duration (or tenths when it is short).
    painter.setPen(QColor(120, 120, 120));
    const double seconds = preset.duration / 1000.0;
    const double step = seconds > 20 ? 5.0 : seconds > 2 ? 1.0 : 0.1;
    for (double t = 0; seconds > 0 && t <= seconds + 1e-9; t += step) {
        const double x = t / seconds * scale;
        painter.drawLine(QPointF(x, kRuler - 4), QPointF(x, kRuler));
        if (t + step <= seconds + 1e-9 || t == 0)
            painter.drawText(QPointF(x + 2, kRuler - 5), QString::number(t, 'g', 3) + "s");
    }
    for (int i = 0; i < rows; ++i) {
        const Overlay::Item& item = preset.items[size_t(i)];
        const QColor colour = QColor::fromHsv(int((size_t(i) * 67) % 360), 150, 230);
        const double begin = std::clamp(std::isfinite(item.begin) ? item.begin : 0.0, 0.0, 1.0);
        const double end = std::clamp(std::isfinite(item.end) ? item.end : 1.0, begin, 1.0);
        const int top = kRuler + i * kRow + 2;
        const QRectF bar(begin * scale, top, std::max(1.0, (end - begin) * scale), kRow - 4);
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour);
        painter.drawRect(bar);
        painter.setPen(QPen(Qt::black, 1));
        for (const auto& key : item.envelope.keys) {
            const double x = (begin + std::clamp(key.step, 0.0, 1.0) * (end - begin)) * scale;
            painter.drawLine(QPointF(x, top - 1), QPointF(x, top + kRow - 3));
        }
        painter.setPen(Qt::black);
        painter.drawText(bar.adjusted(3, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, item.name);
    }
    return image;
}

}  // namespace Cli::Preview
