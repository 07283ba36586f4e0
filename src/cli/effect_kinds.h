#pragma once

namespace Cli {

class ComponentFactory;

// Adds the recipe kinds of effects and transitions: "lut-effect", "shader-effect",
// "shader-transition", "mask-transition" and "overlay-transition".
void addEffectKinds(ComponentFactory& factory);

}  // namespace Cli
