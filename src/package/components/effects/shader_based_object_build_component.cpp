#include "package/components/effects/shader_based_object_build_component.h"

#include "package/components/effects/resource_registration.h"
#include "platform/bundle/store_item.h"
#include "platform/layout/package_structure_description.h"
#include "platform/model/id_source.h"
#include "platform/model/package_object.h"
#include "platform/model/unique_id.h"

namespace Package {

template <class Object, class ExternalShader>
ShaderBasedObjectBuildComponent<Object, ExternalShader>::ShaderBasedObjectBuildComponent(
    const ShaderParams& params)
    : m_primaryText(params.primaryText),
      m_secondaryText(params.secondaryText),
      m_supportsIntensity(params.supportsIntensity),
      m_intensity(params.intensity),
      m_shaderPath(params.shaderPath),
      m_auxImagePath(params.auxImagePath) {}

template <class Object, class ExternalShader>
ResourceFixupQueue ShaderBasedObjectBuildComponent<Object, ExternalShader>::build(
    Package::Object* package) {
    const QString uuid = IdSource::current().newUuid().toString();
    const QString folder = QStringLiteral("%1/%2/").arg(package->folder, itemFolder());
    ResourceFixupQueue fixups;
    CollectionAddOn addOn;
    addOn.path = QStringLiteral("%1/%2/").arg(itemFolder(), uuid);

    ExternalShader shader;
    shader.apiVersion = 0;
    shader.title = m_primaryText;
    shader.description = m_secondaryText;
    shader.supportsIntensity = m_supportsIntensity;
    shader.intensity = m_intensity;  // the effect's lies in its VideoEffect base
    shader.shaderResource = registerResource(fixups, addOn, ::Resource::DataFile, m_shaderPath);
    shader.auxImageResource =
        registerResource(fixups, addOn, ::Resource::StillImage, m_auxImagePath);

    EditorCollection::PersistentItem<Object> item;
    item.uniqueId = nextUniqueId();
    item.item = &shader;
    item.preview = preview();
    item.categories = categories();
    item.collectionId = collectionId();

    for (const QString& category : item.categories)
        addOn.categories.emplace(category, item.collectionId);

    Bundle::storeItem<Object>(folder + uuid, item);
    handOver(package, addOn);
    return fixups;
}

template class ShaderBasedObjectBuildComponent<Effect::Object, Effect::ExternalShader>;
template class ShaderBasedObjectBuildComponent<Transition::Object, Transition::ExternalShader>;

QString ShaderBasedEffectBuildComponent::itemFolder() const {
    return PackageStructureDescription::effectDir;
}

void ShaderBasedEffectBuildComponent::handOver(Package::Object* package,
                                               const CollectionAddOn& addOn) const {
    package->effectAddOns.push_back(addOn);
}

QString ShaderBasedTransitionBuildComponent::itemFolder() const {
    return PackageStructureDescription::transitionDir;
}

void ShaderBasedTransitionBuildComponent::handOver(Package::Object* package,
                                                   const CollectionAddOn& addOn) const {
    package->transitionAddOns.push_back(addOn);
}

}  // namespace Package
