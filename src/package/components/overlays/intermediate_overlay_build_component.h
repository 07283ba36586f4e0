#pragma once

#include <QString>

#include "package/abstract_build_component.h"
#include "package/build_params.h"

namespace Package {

// Stores an overlay in its editable form: a one-item Overlay::Preset in the titles folder that
// stands for the overlay, and the overlay's whole timeline as an intro (a project bundle) filed
// under `introCollectionId`. Finalizing such a package flattens it into a finished overlay.
// Throws what the intro component throws (std::invalid_argument for a working folder named
// "build", FS::Error for a failed write).
class IntermediateOverlayBuildComponent : public AbstractBuildComponent {
public:
    // Keeps a clone of the params.
    IntermediateOverlayBuildComponent(const OverlayParams& params,
                                      const QString& introCollectionId);

    // The overlay part's fixups (none), then the project part's.
    ResourceFixupQueue build(Package::Object* package) override;

private:
    ResourceFixupQueue buildOverlay(Package::Object* package);
    ResourceFixupQueue buildImport(Package::Object* package);

    OverlayParams m_params;
    QString m_introCollectionId;
};

}  // namespace Package
