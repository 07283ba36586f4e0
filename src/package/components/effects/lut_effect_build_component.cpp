#include "package/components/effects/lut_effect_build_component.h"

#include "package/components/effects/resource_registration.h"
#include "platform/bundle/store_item.h"
#include "platform/layout/package_structure_description.h"
#include "platform/model/id_source.h"
#include "platform/model/package_object.h"
#include "platform/model/unique_id.h"
#include "platform/model/video_effect.h"

namespace Package {

LutEffectBuildComponent::LutEffectBuildComponent(const LutEffectParams& params)
    : m_primaryText(params.primaryText),
      m_secondaryText(params.secondaryText),
      m_lutPath(params.lutPath) {}

ResourceFixupQueue LutEffectBuildComponent::build(Package::Object* package) {
    const QString uuid = IdSource::current().newUuid().toString();
    const QString effectFolder =
        QStringLiteral("%1/%2/").arg(package->folder, PackageStructureDescription::effectDir);
    ResourceFixupQueue fixups;

    CollectionAddOn addOn;
    addOn.path = QStringLiteral("%1/%2/").arg(PackageStructureDescription::effectDir, uuid);

    Effect::Lut lut;
    lut.title = m_primaryText;
    lut.description = m_secondaryText;
    EditorCollection::PersistentItem<Effect::Object> item;
    item.uniqueId = nextUniqueId();
    item.item = &lut;
    item.preview = preview();
    item.categories = categories();
    item.collectionId = collectionId();

    lut.lutResource = registerResource(fixups, addOn, ::Resource::DataFile, m_lutPath);
    // Unlike the other components, a LUT effect files itself under the empty category.
    addOn.categories.emplace(QString(), collectionId());

    Bundle::storeItem<Effect::Object>(effectFolder + uuid, item);
    package->effectAddOns.push_back(addOn);
    return fixups;
}

}  // namespace Package
