#pragma once

#include <QByteArray>

#include "cli/checks/check_report.h"

namespace Cli {

// Reads a .cube LUT as text and reports, with line numbers: a file that is not text, unknown or
// misplaced keywords, LUT_1D_SIZE and LUT_3D_SIZE out of range, DOMAIN_MIN and DOMAIN_MAX lines
// that are malformed or empty, rows that are not three numbers, a row count that does not match the
// sizes (errors), and values that are NaN, infinite or outside the domain (warnings). Owns nothing.
class CubeFileCheck {
public:
    static void check(const QByteArray& data, const CheckPlace& place, CheckReport& report);
};

}  // namespace Cli
