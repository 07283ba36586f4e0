#pragma once

#include <QString>

#include "cli/checks/check_report.h"

namespace Cli {

// Checks one LUT file: it must load as a colour transform (an error otherwise); a .cube file is
// also read line by line (CubeFileCheck), whose findings carry line numbers. Owns nothing.
class LutCheck {
public:
    static void check(const QString& path, const CheckPlace& place, CheckReport& report);

    // Lets the colour library drop the files it loaded and keeps for later loads: after the
    // checks of a recipe or a package, so that a build does not carry them, and a file read
    // again is read as it is then. Not while a check runs.
    static void forgetLoaded();
};

}  // namespace Cli
