#pragma once

#include <QString>

#include "package/resource_fixup.h"
#include "platform/model/collection_add_on.h"

namespace Package {

// Registers the file `source` as a resource of `addOn` under a fresh id and queues the fixup that
// copies it into the resource folder under its own name. Returns the id, or an empty string (and
// changes nothing) when the file does not exist: a missing input leaves its reference empty.
// Throws nothing itself; the queued copy throws FS::Error when the disk fails.
QString registerResource(ResourceFixupQueue& fixups, CollectionAddOn& addOn, ::Resource::Type kind,
                         const QString& source);

}  // namespace Package
