#pragma once

#include <QString>
#include <vector>

#include "cli/checks/check_report.h"

namespace Cli {

// One file that a build puts into the package's resources folder, by its name there.
struct ResourceSource {
    CheckPlace place;  // the component field that brings it
    QString name;      // the resource's file name
    QString path;      // the file that is copied, or the clip that a still is rendered from
    bool still = false;
};

// Resources are named by file name and the first copy of a name wins, so two different files of
// one name would leave the second item showing the first's content. Reports each such pair as an
// error naming both sources (byte-identical files share the resource and are fine), and names that
// differ only in case as warnings (they clash on case-insensitive file systems). Owns nothing.
class ResourceClashCheck {
public:
    // `sources` in build order; every path exists.
    static void check(const std::vector<ResourceSource>& sources, CheckReport& report);
};

}  // namespace Cli
