#pragma once

#include <QStringList>
#include <QTextStream>

namespace Cli {

// `packwright verify PACKAGE.qpack [--json]`: exit code 0 when the package is sound, 1 when it has
// problems (each printed on its own line), 2 for a wrong command line.
int verifyCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

}  // namespace Cli
