#pragma once

#include <QStringList>
#include <QTextStream>

namespace Cli {

// `packwright build RECIPE.json [-o OUT.qpack] [--uuid ID] [--keep-work DIR]`
int buildCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

}  // namespace Cli
