#pragma once

#include <QStringList>
#include <QTextStream>

namespace Cli {

// `packwright preview PACKAGE.qpack [-o SHEET.html | -o SHEET.png] [--frame IMAGE]`
int previewCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

}  // namespace Cli
