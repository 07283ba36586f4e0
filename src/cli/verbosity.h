#pragma once

namespace Cli {

// How much the running command says besides what was asked of it: set once its options are parsed
// (-q, -v), read by whatever prints progress, notes, warnings and summaries.
class Verbosity {
public:
    enum Level { Quiet, Normal, Verbose };

    static Level level();
    static void set(Level level);
    static bool quiet() { return level() == Quiet; }
    static bool verbose() { return level() == Verbose; }
};

}  // namespace Cli
