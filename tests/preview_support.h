#pragma once

#include <QColor>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <vector>

#include "test_support.h"

namespace PreviewSupport {

// One card of an HTML sheet: its markup, and its pictures decoded from their data: URIs.
struct HtmlCard {
    QString markup;
    QString kind;
    std::vector<std::pair<QString, QImage>> pictures;  // alt text, decoded image
};

inline std::vector<HtmlCard> htmlCards(const QString& html) {
    std::vector<HtmlCard> cards;
    const QStringList parts = html.split(QStringLiteral("<article class=\"card\">"));
    static const QRegularExpression kind(QStringLiteral("<span class=\"kind\">([^<]*)</span>"));
    static const QRegularExpression image(
        QStringLiteral("<img src=\"data:image/png;base64,([^\"]+)\" width=\"\\d+\" height=\"\\d+\" "
                       "alt=\"([^\"]*)\">"));
    for (int i = 1; i < parts.size(); ++i) {
        HtmlCard card;
        card.markup = parts[i].left(parts[i].indexOf(QStringLiteral("</article>")));
        card.kind = kind.match(card.markup).captured(1);
        for (auto it = image.globalMatch(card.markup); it.hasNext();) {
            const auto match = it.next();
            card.pictures.emplace_back(
                match.captured(2),
                QImage::fromData(QByteArray::fromBase64(match.captured(1).toLatin1()), "PNG"));
        }
        cards.push_back(card);
    }
    return cards;
}

// The number of items a package holds, as inspect reports them.
inline int itemCount(const QString& package) {
    const TestSupport::ToolResult inspected = TestSupport::tool({"inspect", package, "--json"});
    const QJsonObject lists =
        QJsonDocument::fromJson(inspected.output.toUtf8()).object().value("addOns").toObject();
    int count = 0;
    for (const QString& list : lists.keys())
        count += lists.value(list).toArray().size();
    return count;
}

// Counts the top-left corners of frames of `colour` at least `minRun` pixels wide and tall: a
// pixel of the colour with none of it above or to its left, and a run of it to its right and
// below. Text and pictures do not make such corners; a frame does, once.
inline int countFrames(const QImage& picture, const QColor& colour, int minRun) {
    const QImage image = picture.convertToFormat(QImage::Format_RGB32);
    const QRgb wanted = colour.rgb() | 0xff000000u;
    const auto is = [&](int x, int y) {
        return x >= 0 && y >= 0 && x < image.width() && y < image.height() &&
               (image.pixel(x, y) | 0xff000000u) == wanted;
    };
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (!is(x, y) || is(x - 1, y) || is(x, y - 1))
                continue;
            bool run = true;
            for (int i = 1; i < minRun && run; ++i)
                run = is(x + i, y);
            if (run)
                ++count;
        }
    }
    return count;
}

}  // namespace PreviewSupport
