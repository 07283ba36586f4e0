#pragma once

#include <QStringList>
#include <QTextStream>

namespace Cli {

// `packwright check RECIPE.json [--json]`: reads the recipe, runs every content check and writes
// nothing. Exit code 0 when clean (warnings allowed), 1 when there are errors, 2 when the recipe
// could not be checked at all (a wrong command line, a recipe that does not read).
int checkCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

}  // namespace Cli
