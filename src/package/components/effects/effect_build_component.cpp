#include "package/components/effects/effect_build_component.h"

#include "package/components/effects/lut_effect_build_component.h"
#include "package/components/effects/shader_based_object_build_component.h"

namespace Package {

EffectBuildComponent::EffectBuildComponent(const LutEffectParams& params)
    : m_inner(std::make_unique<LutEffectBuildComponent>(params)) {}

EffectBuildComponent::EffectBuildComponent(const ShaderEffectParams& params)
    : m_inner(std::make_unique<ShaderBasedEffectBuildComponent>(params)) {}

EffectBuildComponent::~EffectBuildComponent() = default;

ResourceFixupQueue EffectBuildComponent::build(Package::Object* package) {
    return m_inner->build(package);
}

}  // namespace Package
