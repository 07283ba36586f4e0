#pragma once

#include <QImage>
#include <QString>

#include "cli/preview/sheet_model.h"

namespace Cli::Preview {

// Builds a sheet from a package file: its description and content file, every stored item and
// its resources, and verify's problems. Media is read in place from the archive and decoded at
// the size it is shown at. Throws Cli::Error naming the package when it cannot be read at all; an
// item that cannot be shown still gets its card, with the reason among its problems.
class SheetReader {
public:
    // `frame`: the reference frame of colour effects.
    static SheetModel read(const QString& packagePath, const QImage& frame);
};

}  // namespace Cli::Preview
