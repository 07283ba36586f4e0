#pragma once

#include <QString>
#include <vector>

#include "cli/checks/check_report.h"
#include "platform/model/resource.h"

namespace Cli {

// One use of a file of a built package by one of its items.
struct PackageFileUse {
    enum Role { Sole, Shared, Still };

    CheckPlace place;  // the item, its field and the file's path inside the package
    Role role = Shared;
    QString stillOf;  // of a still: the path of the video it shows
    bool timed = false;
    ::Resource::Timing timing;  // of a media resource: what its record says of the file
};

// What a built package can still show of files that landed at one resource name: the first copy
// of a name wins, so the later items use the earlier one's file. Errors: a still that stands for
// two different videos; two items that show nothing but one file (LUT effects, imports, masks,
// overlay clips: `Sole` uses) sharing it, which is either such a clash or one item repeating the
// other; one media file whose records give it different timings. Names that differ only in case
// are warnings. Shared shaders and auxiliary images are how several items use one look, and
// pass. Owns nothing.
class PackageClashCheck {
public:
    static void check(const std::vector<PackageFileUse>& uses, CheckReport& report);
};

}  // namespace Cli
