#pragma once

#include "package/abstract_build_component.h"
#include "package/build_params.h"

namespace Package {

// Builds an intro: writes the params' timeline as a portable project bundle beside the working
// folder ("<working folder>/../build/intro.bundle"), stores an import item of kind 4 that points
// at the bundle, and returns one fixup that copies the bundle and every media file of the project
// into the resources. The bundle stays in the build folder afterwards. Owns a clone of the params'
// timeline. Besides FS::Error for a failed write, build() throws
// std::invalid_argument, before it writes, for a working folder named "build" (see
// requireBundleOutside).
class IntroBuildComponent : public AbstractBuildComponent {
public:
    explicit IntroBuildComponent(const IntroParams& params);

    ResourceFixupQueue build(Package::Object* package) override;

    // Where the bundle of a package with this working folder is written.
    static QString bundlePath(const QString& workingFolder);
    // Throws std::invalid_argument when that path folds back into the working folder (a working
    // folder named "build"): the bundle would then be packed as a stray file of the package.
    static void requireBundleOutside(const QString& workingFolder);

private:
    IntroParams m_params;
};

}  // namespace Package
