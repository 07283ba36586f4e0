#pragma once

#include <QString>

#include "package/build_context.h"
#include "platform/model/package_object.h"

namespace Cli {

// Refuses an intermediate overlay package that finalizing would turn into a broken or empty
// package: a preview that does not decode within the read limits, or a project (its intro bundle)
// that is missing or cannot be read. Reading back an overlay is silent about both, so the tool
// checks them before anything is written. Packages of other kinds pass: finalizing refuses them
// itself. `context` is the build context read back from `object`. Throws Cli::Error naming
// `packagePath` and the file at fault.
void checkFinalizable(const Package::Object& object, const Package::AnyBuildContext& context,
                      const QString& packagePath);

}  // namespace Cli
