#include "cli/effect_kinds.h"

#include "cli/component_factory.h"
#include "cli/component_fields.h"
#include "package/components/effects/lut_effect_build_component.h"
#include "package/components/effects/shader_based_object_build_component.h"
#include "package/components/effects/template_transition_build_component.h"

// The tool builds with the implementation components rather than the public EffectBuildComponent
// and TransitionBuildComponent: those do not hand their categories, collection id and preview on,
// and a recipe's metadata must land in the package.

namespace Cli {
namespace {

template <class Params>
Params shaderParams(ComponentFields& fields) {
    Params params;
    params.primaryText = fields.text(QStringLiteral("title"));
    params.secondaryText = fields.text(QStringLiteral("description"));
    params.supportsIntensity = fields.boolean(QStringLiteral("supportsIntensity"));
    params.intensity = fields.number(QStringLiteral("intensity"));
    params.shaderPath = fields.sourceFile(QStringLiteral("shader"), true);
    params.auxImagePath = fields.sourceFile(QStringLiteral("auxImage"), false);
    return params;
}

template <class Component>
std::shared_ptr<Package::IBuildComponent> finish(std::shared_ptr<Component> component,
                                                 ComponentFields& fields) {
    fields.applyMetadata(*component);
    fields.finish();
    return component;
}

}  // namespace

void addEffectKinds(ComponentFactory& factory) {
    factory.add(QStringLiteral("lut-effect"), [](const ComponentEntry& entry, const Recipe& recipe,
                                                 QStringList& warnings) {
        ComponentFields fields(entry, recipe, warnings);
        Package::LutEffectParams params;
        params.primaryText = fields.text(QStringLiteral("title"));
        params.secondaryText = fields.text(QStringLiteral("description"));
        params.lutPath = fields.sourceFile(QStringLiteral("lut"), true);
        return finish(std::make_shared<Package::LutEffectBuildComponent>(params), fields);
    });
    factory.add(QStringLiteral("shader-effect"), [](const ComponentEntry& entry,
                                                    const Recipe& recipe, QStringList& warnings) {
        ComponentFields fields(entry, recipe, warnings);
        const auto params = shaderParams<Package::ShaderEffectParams>(fields);
        return finish(std::make_shared<Package::ShaderBasedEffectBuildComponent>(params), fields);
    });
    factory.add(QStringLiteral("shader-transition"),
                [](const ComponentEntry& entry, const Recipe& recipe, QStringList& warnings) {
                    ComponentFields fields(entry, recipe, warnings);
                    const auto params = shaderParams<Package::ShaderTransitionParams>(fields);
                    return finish(
                        std::make_shared<Package::ShaderBasedTransitionBuildComponent>(params),
                        fields);
                });
    factory.add(QStringLiteral("mask-transition"), [](const ComponentEntry& entry,
                                                      const Recipe& recipe, QStringList& warnings) {
        ComponentFields fields(entry, recipe, warnings);
        Package::MaskTransitionParams params;
        params.sourcePath = fields.sourceFile(QStringLiteral("source"), true);
        using Component = Package::TemplateTransitionBuildComponent<Transition::MaskTransition>;
        return finish(std::make_shared<Component>(params), fields);
    });
    factory.add(QStringLiteral("overlay-transition"),
                [](const ComponentEntry& entry, const Recipe& recipe, QStringList& warnings) {
                    ComponentFields fields(entry, recipe, warnings);
                    Package::OverlayTransitionParams params;
                    params.sourcePath = fields.sourceFile(QStringLiteral("source"), true);
                    using Component =
                        Package::TemplateTransitionBuildComponent<Transition::Overlay>;
                    return finish(std::make_shared<Component>(params), fields);
                });
}

}  // namespace Cli
