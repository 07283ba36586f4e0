#pragma once

#include <QStringList>
#include <QTextStream>

namespace Cli {

// Runs the tool with its arguments (without the program name). Every failure becomes one line
// "packwright: error: ..." on `err` and a non-zero exit code: 2 for usage errors, 1 otherwise.
int run(const QStringList& arguments, QTextStream& out, QTextStream& err);

}  // namespace Cli
