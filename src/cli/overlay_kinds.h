#pragma once

namespace Cli {

class ComponentFactory;

// Adds the recipe kinds "overlay" (a finished title, callout or sticker flattened from a timeline)
// and "intermediate-overlay" (the same in its editable form).
void addOverlayKinds(ComponentFactory& factory);

}  // namespace Cli
