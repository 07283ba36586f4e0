#pragma once

#include <QString>

#include "cli/help_catalog.h"

namespace Cli {

// The tool's manual page (roff, section 1), made from its help: `top` is the tool's own usage
// text, then every command with its usage, description, options and arguments.
class ManPage {
public:
    static QString roff(const HelpCatalog& catalog, const HelpText& top, const QString& version);
};

}  // namespace Cli
