#include "cli/verbosity.h"

#include <atomic>

namespace Cli {
namespace {

// Read from FFmpeg's decoding threads and Qt's message handler too.
std::atomic<Verbosity::Level> current{Verbosity::Normal};

}  // namespace

Verbosity::Level Verbosity::level() {
    return current.load(std::memory_order_relaxed);
}

void Verbosity::set(Level level) {
    current.store(level, std::memory_order_relaxed);
}

}  // namespace Cli
