#pragma once

namespace Cli {

class ComponentFactory;

// Adds the recipe kinds "import" (a local or downloadable media file) and "intro" (an editor
// project from a timeline file).
void addImportKinds(ComponentFactory& factory);

}  // namespace Cli
