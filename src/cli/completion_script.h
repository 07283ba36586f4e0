#pragma once

#include <QString>

#include "cli/help_catalog.h"

namespace Cli {

// The shell completions of the tool, made from its help: the commands, each command's options,
// folders after an option that takes a DIR, files after one that takes a file and for the
// arguments. `top` is the tool's own help (its usage text).
class CompletionScript {
public:
    static QString bash(const HelpCatalog& catalog, const HelpText& top);
    static QString zsh(const HelpCatalog& catalog, const HelpText& top);

    // What follows an option that takes a value of this name.
    enum class Value { Folder, File, Word };
    static Value valueOf(const QString& valueName);
};

}  // namespace Cli
