#pragma once

#include <QStringList>
#include <QTextStream>

namespace Cli {

// `packwright ls PACKAGE [--json]`: the items and resources of a package, read in place.
int lsCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

// `packwright extract PACKAGE NAME -o PATH [--force]`: one item or resource taken out.
int extractCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

}  // namespace Cli
