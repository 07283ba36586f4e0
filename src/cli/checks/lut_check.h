#pragma once

#include <QString>

#include "cli/checks/check_report.h"

namespace Cli {

// Checks one LUT file: it must load as a colour transform (an error otherwise); a .cube file is
// also read line by line (CubeFileCheck), whose findings carry line numbers. Owns nothing.
class LutCheck {
public:
    static void check(const QString& path, const CheckPlace& place, CheckReport& report);
};

}  // namespace Cli
