#include "cli/preview/png_sheet_painter.h"

#include <QFontMetrics>
#include <QLocale>
#include <QPainter>
#include <algorithm>

namespace Cli::Preview {
namespace {

constexpr int kMargin = 16;
constexpr int kGap = 16;
constexpr int kColumns = 3;
constexpr int kPadding = 10;
constexpr int kPictureGap = 6;

QString sizeText(qint64 bytes) {
    return bytes < 0 ? QStringLiteral("missing")
                     : QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeTraditionalFormat);
}

// Lays out and, with a painter, draws blocks top to bottom within a column; measuring and
// drawing share one path so that they cannot disagree.
class Column {
public:
    Column(QPainter* painter, int left, int top, int width)
        : m_painter(painter), m_left(left), m_y(top), m_width(width) {}

    void text(const QString& text, int pixelSize, QColor colour, bool bold = false) {
        if (text.isEmpty())
            return;
        QFont font;
        font.setPixelSize(pixelSize);
        font.setBold(bold);
        const QRect bounds = QFontMetrics(font).boundingRect(
            QRect(0, 0, m_width, 100000), Qt::TextWordWrap | Qt::TextWrapAnywhere, text);
        if (m_painter) {
            m_painter->setFont(font);
            m_painter->setPen(colour);
            m_painter->drawText(QRect(m_left, m_y, m_width, bounds.height()),
                                Qt::TextWordWrap | Qt::TextWrapAnywhere, text);
        }
        m_y += bounds.height() + 3;
    }

    // Pictures two to a row, or one across for the wide ones, each with its caption.
    void pictures(const std::vector<SheetPicture>& pictures) {
        const int half = (m_width - kPictureGap) / 2;
        int column = 0;
        int rowHeight = 0;
        for (const SheetPicture& picture : pictures) {
            const bool wide = picture.image.width() > picture.image.height() * 3 ||
                              picture.caption == QLatin1String("scene");
            if (wide && column != 0) {
                m_y += rowHeight + kPictureGap;
                column = 0;
                rowHeight = 0;
            }
            const int width = wide ? m_width : half;
            const QImage image = picture.image.scaledToWidth(std::min(width, picture.image.width()),
                                                             Qt::SmoothTransformation);
            const int x = m_left + column * (half + kPictureGap);
            if (m_painter) {
                m_painter->drawImage(x, m_y, image);
                QFont font;
                font.setPixelSize(10);
                m_painter->setFont(font);
                m_painter->setPen(QColor(90, 98, 114));
                m_painter->drawText(QRect(x, m_y + image.height() + 1, width, 13),
                                    Qt::AlignLeft | Qt::AlignTop, picture.caption);
            }
            rowHeight = std::max(rowHeight, image.height() + 15);
            if (wide || ++column == 2) {
                m_y += rowHeight + kPictureGap;
                column = 0;
                rowHeight = 0;
            }
        }
        m_y += rowHeight;
    }

    void space(int pixels) { m_y += pixels; }
    int y() const { return m_y; }

private:
    QPainter* m_painter;
    int m_left;
    int m_y;
    int m_width;
};

int layoutCard(QPainter* painter, const SheetCard& card, int left, int top, int width) {
    Column column(painter, left + kPadding, top + kPadding, width - 2 * kPadding);
    column.text(card.kind.toUpper(), 11, QColor(20, 60, 140), true);
    column.text(card.title.isEmpty() ? QStringLiteral("(untitled)") : card.title, 16,
                QColor(29, 35, 48), true);
    column.text(card.description, 13, QColor(58, 66, 82));
    column.text(QStringLiteral("categories: %1")
                    .arg(card.categories.isEmpty() ? QStringLiteral("none")
                                                   : card.categories.join(QStringLiteral(", "))),
                12, QColor(90, 98, 114));
    column.text(QStringLiteral("collection: %1")
                    .arg(card.collection.isEmpty() ? QStringLiteral("none") : card.collection),
                12, QColor(90, 98, 114));
    column.text(card.path, 10, QColor(122, 130, 146));
    std::vector<SheetPicture> pictures;
    if (!card.preview.isNull())
        pictures.push_back({QStringLiteral("preview"), card.preview});
    pictures.insert(pictures.end(), card.pictures.begin(), card.pictures.end());
    column.space(4);
    column.pictures(pictures);
    for (const QString& note : card.notes)
        column.text(QStringLiteral("• ") + note, 12, QColor(29, 35, 48));
    for (const QString& problem : card.problems)
        column.text(QStringLiteral("✖ ") + problem, 12, QColor(168, 7, 26));
    for (const SheetResource& resource : card.resources)
        column.text(QStringLiteral("%1 · %2 · %3")
                        .arg(resource.name, resource.kind, sizeText(resource.size)),
                    11, QColor(58, 66, 82));
    return column.y() + kPadding - top;
}

int layoutHeader(QPainter* painter, const SheetModel& model, int top) {
    const int width = PngSheetPainter::kWidth - 2 * kMargin;
    int pictureBottom = top;
    int textLeft = kMargin + kPadding;
    if (!model.preview.isNull()) {
        if (painter)
            painter->drawImage(textLeft, top + kPadding, model.preview);
        pictureBottom = top + kPadding + model.preview.height();
        textLeft += model.preview.width() + kGap;
    }
    Column column(painter, textLeft, top + kPadding, kMargin + width - kPadding - textLeft);
    column.text(model.name, 22, QColor(29, 35, 48), true);
    column.text(QStringLiteral("id %1").arg(model.id), 13, QColor(58, 66, 82));
    column.text(QStringLiteral("file %1 (%2), size %3, %4 items")
                    .arg(model.fileName, sizeText(model.fileSize), sizeText(model.size))
                    .arg(model.cards.size()),
                13, QColor(58, 66, 82));
    QStringList counts;
    for (const auto& [kind, count] : model.counts)
        counts << QStringLiteral("%1: %2").arg(kind).arg(count);
    column.text(counts.join(QStringLiteral("   ")), 13, QColor(20, 60, 140));
    if (model.problems.isEmpty())
        column.text(QStringLiteral("verify finds no problem"), 13, QColor(26, 127, 55));
    for (const QString& problem : model.problems)
        column.text(QStringLiteral("✖ ") + problem, 13, QColor(168, 7, 26));
    return std::max(column.y(), pictureBottom) + kPadding - top;
}

}  // namespace

QImage PngSheetPainter::paint(const SheetModel& model) {
    const int cardWidth = (kWidth - 2 * kMargin - (kColumns - 1) * kGap) / kColumns;
    // First pass: the height of the header and of every row of cards.
    const int headerHeight = layoutHeader(nullptr, model, kMargin);
    std::vector<int> rowHeights;
    for (size_t i = 0; i < model.cards.size(); ++i) {
        const int height = layoutCard(nullptr, model.cards[i], 0, 0, cardWidth);
        if (i % kColumns == 0)
            rowHeights.push_back(0);
        rowHeights.back() = std::max(rowHeights.back(), height);
    }
    int total = kMargin + headerHeight + kGap;
    for (const int height : rowHeights)
        total += height + kGap;
    total += kMargin - kGap;

    QImage image(kWidth, total, QImage::Format_RGB32);
    image.fill(QColor(236, 238, 242));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.fillRect(kMargin, kMargin, kWidth - 2 * kMargin, headerHeight, Qt::white);
    layoutHeader(&painter, model, kMargin);
    int top = kMargin + headerHeight + kGap;
    for (size_t row = 0; row < rowHeights.size(); ++row) {
        for (size_t column = 0; column < size_t(kColumns); ++column) {
            const size_t index = row * kColumns + column;
            if (index >= model.cards.size())
                break;
            const int left = kMargin + int(column) * (cardWidth + kGap);
            const QRect box(left, top, cardWidth, rowHeights[row]);
            painter.fillRect(box, Qt::white);
            // The frame: solid, unblended, so that its colour is exact.
            const QColor frame = frameColour();
            painter.fillRect(QRect(box.left(), box.top(), box.width(), kFrameWidth), frame);
            painter.fillRect(
                QRect(box.left(), box.bottom() - kFrameWidth + 1, box.width(), kFrameWidth), frame);
            painter.fillRect(QRect(box.left(), box.top(), kFrameWidth, box.height()), frame);
            painter.fillRect(
                QRect(box.right() - kFrameWidth + 1, box.top(), kFrameWidth, box.height()), frame);
            painter.setClipRect(box.adjusted(kFrameWidth, kFrameWidth, -kFrameWidth, -kFrameWidth));
            layoutCard(&painter, model.cards[index], left, top, cardWidth);
            painter.setClipping(false);
        }
        top += rowHeights[row] + kGap;
    }
    return image;
}

}  // namespace Cli::Preview
