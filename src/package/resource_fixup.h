#pragma once

#include <QString>
#include <deque>
#include <functional>

namespace Package {

// A deferred action of a component's build, run by the builder after every component has built.
// Its argument is the absolute path of the package's resource folder, ending in "/". A fixup owns
// what it captured; one that fails throws, and the builder lets the exception end the build.
using ResourceFixup = std::function<void(const QString& resourceFolder)>;

// The fixups of one build, in the order in which they run.
using ResourceFixupQueue = std::deque<ResourceFixup>;

}  // namespace Package
