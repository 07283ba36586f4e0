#pragma once

#include "package/resource_fixup.h"

namespace Package {

class Object;

// What the builder drives: one piece of content that builds itself into a package object.
//
// build() may add items to `package` and write into its working folder, but must not assume that
// the resource folder exists: every file that belongs there is copied by a ResourceFixup in the
// returned queue. Fixups capture by value what they need; they run after all components have built.
// The builder shares its components (std::shared_ptr) and never copies them. Failures are
// exceptions, of whatever the storage and file layers throw (FS::Error for a failed write).
class IBuildComponent {
public:
    virtual ~IBuildComponent() = default;
    virtual ResourceFixupQueue build(Package::Object* package) = 0;
};

}  // namespace Package
