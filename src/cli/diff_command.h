#pragma once

#include <QStringList>
#include <QTextStream>

namespace Cli {

// `packwright diff A.qpack B.qpack [--json] [--ids]`: compares two packages by what they hold.
// Returns 0 when they are equal, 1 when they differ; throws Cli::Error with exit code 2 when
// they cannot be compared.
int diffCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

}  // namespace Cli
