#include "package/components/imports/import_item.h"

#include "package/abstract_build_component.h"
#include "platform/bundle/store_item.h"
#include "platform/layout/package_structure_description.h"
#include "platform/model/package_object.h"
#include "platform/model/unique_id.h"

namespace Package {

Import::Object makeImportObject(const std::set<QString>& categories, const QString& primaryText,
                                const QString& secondaryText) {
    Import::Object object;
    if (!categories.empty())
        object.setCategory(*categories.begin());
    object.setTitle(primaryText);
    object.setDescription(secondaryText);
    return object;
}

void storeImportItem(Package::Object* package, const QString& uuid, Import::Object& object,
                     const AbstractBuildComponent& component) {
    const QString prefix =
        QStringLiteral("%1/%2/").arg(package->folder, PackageStructureDescription::importDir);
    CollectionAddOn addOn;
    addOn.path = QStringLiteral("%1/%2/").arg(PackageStructureDescription::importDir, uuid);

    EditorCollection::PersistentItem<Import::Object> item;
    item.uniqueId = nextUniqueId();
    item.item = &object;
    item.categories = component.categories();
    item.collectionId = component.collectionId();
    item.preview = component.preview();

    for (const QString& category : item.categories)
        addOn.categories.emplace(category, item.collectionId);
    Bundle::storeItem<Import::Object>(prefix + uuid, item);
    package->importAddOns.push_back(addOn);
}

}  // namespace Package
