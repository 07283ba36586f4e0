#pragma once

#include <QStringList>
#include <QTextStream>

namespace Cli {

// `packwright open PACKAGE.qpack --into DIR [--json] [--recipe OUT.json]`: unpacks a package for
// editing, tells what it holds and the build context read back from it, and can write the recipe
// that builds an equivalent package.
int openCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

// `packwright finalize PACKAGE.qpack -o DIR`: turns an intermediate overlay package into a
// finished one, DIR/<package name>.qpack.
int finalizeCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

}  // namespace Cli
