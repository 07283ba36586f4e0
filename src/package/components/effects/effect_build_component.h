#pragma once

#include <memory>

#include "package/abstract_build_component.h"
#include "package/build_params.h"

namespace Package {

// The public effect component: a LUT or an external-shader effect. It forwards build() to its
// implementation and nothing else: its own preview, categories and collection id are not handed
// on, so the implementation builds with its defaults. Callers rely on that; keep it.
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
