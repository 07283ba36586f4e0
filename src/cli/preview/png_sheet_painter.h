#pragma once

#include <QColor>
#include <QImage>

#include "cli/preview/sheet_model.h"

namespace Cli::Preview {

// The sheet as one picture, 1280 pixels wide: the package header, then the cards three to a row,
// each framed in kFrame with the same texts, pictures and resources as the HTML sheet.
class PngSheetPainter {
public:
    static constexpr int kWidth = 1280;
    static constexpr int kFrameWidth = 3;
    // The frame of every card and of nothing else, so that a reader can find the cards.
    static QColor frameColour() { return QColor(31, 111, 235); }

    static QImage paint(const SheetModel& model);
};

}  // namespace Cli::Preview
