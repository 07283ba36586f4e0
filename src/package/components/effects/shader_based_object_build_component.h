#pragma once

#include <QString>

#include "package/abstract_build_component.h"
#include "package/build_params.h"
#include "package/components/effects/external_shader.h"

namespace Package {

class CollectionAddOn;

// Builds an external-shader item (ExternalShader, whose item base is Object): the shader file
// becomes a resource of kind 4, the auxiliary image one of kind 3. Missing files leave their
// references empty. Subclasses say where the item goes. Owns a copy of the params; build() throws
// what storing the item throws (FS::Error).
template <class Object, class ExternalShader>
class ShaderBasedObjectBuildComponent : public AbstractBuildComponent {
public:
    explicit ShaderBasedObjectBuildComponent(const ShaderParams& params);

    ResourceFixupQueue build(Package::Object* package) override;

protected:
    // The package-layout folder of the item.
    virtual QString itemFolder() const = 0;
    // Appends the add-on to the package object's list for this kind of item.
    virtual void handOver(Package::Object* package, const CollectionAddOn& addOn) const = 0;

private:
    QString m_primaryText;
    QString m_secondaryText;
    bool m_supportsIntensity = false;
    double m_intensity = 0.0;
    QString m_shaderPath;
    QString m_auxImagePath;
};

extern template class ShaderBasedObjectBuildComponent<Effect::Object, Effect::ExternalShader>;
extern template class ShaderBasedObjectBuildComponent<Transition::Object,
                                                      Transition::ExternalShader>;

// An external-shader effect, filed under the effects folder.
class ShaderBasedEffectBuildComponent
    : public ShaderBasedObjectBuildComponent<Effect::Object, Effect::ExternalShader> {
public:
    using ShaderBasedObjectBuildComponent::ShaderBasedObjectBuildComponent;

protected:
    QString itemFolder() const override;
    void handOver(Package::Object* package, const CollectionAddOn& addOn) const override;
};

// An external-shader transition, filed under the transitions folder.
class ShaderBasedTransitionBuildComponent
    : public ShaderBasedObjectBuildComponent<Transition::Object, Transition::ExternalShader> {
public:
    using ShaderBasedObjectBuildComponent::ShaderBasedObjectBuildComponent;

protected:
    QString itemFolder() const override;
    void handOver(Package::Object* package, const CollectionAddOn& addOn) const override;
};

}  // namespace Package
