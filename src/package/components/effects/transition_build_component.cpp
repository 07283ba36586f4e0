#include "package/components/effects/transition_build_component.h"

#include "package/components/effects/shader_based_object_build_component.h"
#include "package/components/effects/template_transition_build_component.h"

namespace Package {

TransitionBuildComponent::TransitionBuildComponent(const MaskTransitionParams& params)
    : m_inner(
          std::make_unique<TemplateTransitionBuildComponent<Transition::MaskTransition>>(params)) {}

TransitionBuildComponent::TransitionBuildComponent(const OverlayTransitionParams& params)
    : m_inner(std::make_unique<TemplateTransitionBuildComponent<Transition::Overlay>>(params)) {}

TransitionBuildComponent::TransitionBuildComponent(const ShaderTransitionParams& params)
    : m_inner(std::make_unique<ShaderBasedTransitionBuildComponent>(params)) {}

TransitionBuildComponent::~TransitionBuildComponent() = default;

ResourceFixupQueue TransitionBuildComponent::build(Package::Object* package) {
    return m_inner->build(package);
}

}  // namespace Package
