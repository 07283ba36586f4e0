#pragma once

#include <QByteArray>

#include "cli/preview/sheet_model.h"

namespace Cli::Preview {

// The sheet as one self-contained HTML page: every picture embedded as a PNG data: URI, no
// script, a stylesheet whose grid of cards wraps from a phone's width to a desktop's. Every text
// from the package is escaped.
class HtmlSheetWriter {
public:
    static QByteArray write(const SheetModel& model);
};

}  // namespace Cli::Preview
