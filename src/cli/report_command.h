#pragma once

#include <QStringList>
#include <QTextStream>

namespace Cli {

// `packwright inspect PACKAGE.qpack [--json]`
int inspectCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

}  // namespace Cli
