#pragma once

#include <memory>

#include "package/abstract_build_component.h"
#include "package/build_params.h"

namespace Package {

// The public transition component: a mask, overlay or external-shader transition. Like the effect
// component, it owns one implementation component and forwards build() to it and nothing else.
//
// setPreview(), setCategories() and setCollectionId() are accepted and IGNORED: the transition is
// stored with the implementation's defaults. Throws what its implementation throws.
class TransitionBuildComponent : public AbstractBuildComponent {
public:
    explicit TransitionBuildComponent(const MaskTransitionParams& params);
    explicit TransitionBuildComponent(const OverlayTransitionParams& params);
    explicit TransitionBuildComponent(const ShaderTransitionParams& params);
    ~TransitionBuildComponent() override;

    ResourceFixupQueue build(Package::Object* package) override;

private:
    std::unique_ptr<IBuildComponent> m_inner;
};

}  // namespace Package
