#pragma once

#include <QString>

#include "platform/model/package_object.h"

namespace Cli {

// Refuses an intermediate overlay package that finalizing would turn into a broken or empty
// package: a preview that does not decode within the read limits, or a project (its intro bundle)
// that is missing or cannot be read. Reading back an overlay is silent about both, so the tool
// checks them before anything is written. Packages of other kinds pass: finalizing refuses them
// itself. Throws Cli::Error naming `packagePath` and the file at fault.
void checkFinalizable(const Package::Object& object, const QString& packagePath);

}  // namespace Cli
