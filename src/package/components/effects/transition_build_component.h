#pragma once

#include <memory>

#include "package/abstract_build_component.h"
#include "package/build_params.h"

namespace Package {

// The public transition component: a mask, overlay or external-shader transition. Like the effect
// component, it forwards build() to its implementation and nothing else (its own preview,
// categories and collection id are not handed on).
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
