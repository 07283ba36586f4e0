#pragma once

namespace Cli {

// Drops Qt's warning about a missing runtime folder, which the offscreen platform prints on every
// start and which says nothing about our work; other messages go to stderr as usual.
void installMessageFilter();

}  // namespace Cli
