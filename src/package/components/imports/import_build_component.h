#pragma once

#include "package/abstract_build_component.h"
#include "package/build_params.h"

namespace Package {

// Builds an import item: a media file carried in the package (copied into its resources by a
// fixup) or one that the editor downloads later, whose location then keeps the
// "#DOWNLOADABLE_PATH#" marker for the editor to resolve. Owns a copy of the params; build()
// throws what storing the item throws (FS::Error). A missing local file still gives an item.
class ImportBuildComponent : public AbstractBuildComponent {
public:
    explicit ImportBuildComponent(const ImportParams& params);

    ResourceFixupQueue build(Package::Object* package) override;

    // The stored Import::Object kind of a params kind; unknown kinds store 0. Never 4, which
    // marks intros.
    static qint32 storedKind(qint32 importType);

private:
    ImportParams m_params;
};

}  // namespace Package
