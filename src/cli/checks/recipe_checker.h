#pragma once

#include "cli/checks/check_report.h"
#include "cli/recipe.h"

namespace Cli {

class CheckCache;

// Runs the content checks over a recipe's components, before anything is built: LUTs (LutCheck),
// shaders (ShaderCheck), media for what each component uses it as (MediaCheck: the recipe's
// preview, auxiliary images, masks, overlay clips, imports and timeline media) and the names at
// which files land in the package's resources (ResourceClashCheck). It reads the component fields
// that name files and leaves everything else, malformed fields and missing files included, to the
// recipe reader (ComponentFactory), which reports those. The files are checked `threads` at a
// time (0: one per core); the findings come in the order of the components all the same. With a
// `cache`, a file checked before gives the findings kept from then. Owns nothing.
class RecipeChecker {
public:
    static void check(const Recipe& recipe, CheckReport& report, int threads = 0,
                      const CheckCache* cache = nullptr);
};

}  // namespace Cli
