#pragma once

#include <memory>

#include "package/abstract_build_component.h"
#include "package/build_params.h"

namespace Package {

// The public effect component: a LUT or an external-shader effect. It owns one implementation
// component (LutEffectBuildComponent or ShaderBasedEffectBuildComponent) and forwards build() to it
// and nothing else.
//
// setPreview(), setCategories() and setCollectionId() are accepted and IGNORED: they are not handed
// on, so the effect is stored with the default preview, no categories and an empty collection id.
// Callers rely on that; keep it. Throws what its implementation throws (see the base for the
// constructor).
class EffectBuildComponent : public AbstractBuildComponent {
public:
    explicit EffectBuildComponent(const LutEffectParams& params);
    explicit EffectBuildComponent(const ShaderEffectParams& params);
    ~EffectBuildComponent() override;

    ResourceFixupQueue build(Package::Object* package) override;

private:
    std::unique_ptr<IBuildComponent> m_inner;
};

}  // namespace Package
