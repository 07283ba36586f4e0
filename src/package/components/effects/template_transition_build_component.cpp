#include "package/components/effects/template_transition_build_component.h"

#include "platform/bundle/store_item.h"
#include "platform/fs/fs.h"
#include "platform/layout/package_structure_description.h"
#include "platform/model/id_source.h"
#include "platform/model/package_object.h"
#include "platform/model/unique_id.h"

namespace Package {

template <class Item>
ResourceFixupQueue TemplateTransitionBuildComponent<Item>::build(Package::Object* package) {
    const QString itemUuid = IdSource::current().newUuid().toString();
    const QString itemFolder =
        QStringLiteral("%1/%2/").arg(package->folder, PackageStructureDescription::transitionDir);
    ResourceFixupQueue fixups;
    CollectionAddOn addOn;
    addOn.path = QStringLiteral("%1/%2/").arg(PackageStructureDescription::transitionDir, itemUuid);
    const Types::Image image = preview();
    const std::set<QString> categorySet = categories();

    Item transition;
    transition.title = package->name;
    EditorCollection::PersistentItem<Transition::Object> item;
    item.uniqueId = nextUniqueId();
    item.item = &transition;
    item.categories = categorySet;
    item.collectionId = collectionId();
    item.preview = image;

    const QString resourceUuid = IdSource::current().newUuid().toString();
    const Resource resource(makeResourcePath(FS::fileName(m_mediaPath)), resourceUuid,
                            ::Resource::MediaFile);
    const QString mediaPath = m_mediaPath;
    fixups.push_back([mediaPath](const QString& folder) {
        FS::copy(mediaPath, QStringLiteral("%1/%2").arg(folder, FS::fileName(mediaPath)));
    });
    for (const QString& category : categorySet)
        addOn.categories.emplace(category, item.collectionId);
    addOn.resources.push_back(resource);
    transition.resources.push_back({qint32(::Resource::MediaFile), resourceUuid});

    Bundle::storeItem<Transition::Object>(itemFolder + itemUuid, item);
    package->transitionAddOns.push_back(addOn);
    return fixups;
}

template class TemplateTransitionBuildComponent<Transition::MaskTransition>;
template class TemplateTransitionBuildComponent<Transition::Overlay>;

}  // namespace Package
