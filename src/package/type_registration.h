#pragma once

namespace Package {

// Registers the serializable types that this library defines (the external-shader items and the
// template transition items) with the serialization library's registry. Loading the library does
// it; code that reads packages calls it as well, because a program that calls nothing else of this
// library does not load it (linkers drop shared libraries that nothing uses), and could then not
// read those items back. Safe to call any number of times; throws nothing.
void registerTypes();

}  // namespace Package
