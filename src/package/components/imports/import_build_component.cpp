#include "package/components/imports/import_build_component.h"

#include <QUuid>

#include "platform/bundle/store_item.h"
#include "platform/fs/fs.h"
#include "platform/layout/package_structure_description.h"
#include "platform/model/import_object.h"
#include "platform/model/package_object.h"
#include "platform/model/unique_id.h"

namespace Package {

ImportBuildComponent::ImportBuildComponent(const ImportParams& params) : m_params(params) {}

qint32 ImportBuildComponent::storedKind(qint32 importType) {
    switch (importType) {
        case VideoImport:
            return Import::Object::Video;
        case ImageImport:
            return Import::Object::Image;
        case AudioImport:
            return Import::Object::Audio;
        case OtherImport:
        default:
            return Import::Object::Other;
    }
}

ResourceFixupQueue ImportBuildComponent::build(Package::Object* package) {
    const QString root = package->folder;
    const QString uuid = QUuid::createUuid().toString();
    const QString prefix =
        QStringLiteral("%1/%2/").arg(root, PackageStructureDescription::importDir);
    QUuid::createUuid();  // a second id was once made here; the sequence of ids is kept
    ResourceFixupQueue fixups;

    CollectionAddOn addOn;
    addOn.path = QStringLiteral("%1/%2/").arg(PackageStructureDescription::importDir, uuid);
    const Types::Image image = preview();
    const std::set<QString> categorySet = categories();

    Import::Object object;
    if (!categorySet.empty())
        object.setCategory(*categorySet.begin());
    object.setTitle(m_params.primaryText);
    object.setDescription(m_params.secondaryText);
    object.setKind(storedKind(m_params.importType));

    const QString* localFile = std::get_if<QString>(&m_params.source);
    const RemoteSource* remote = std::get_if<RemoteSource>(&m_params.source);
    QString location;
    if (localFile)
        location = makeResourcePath(FS::fileName(*localFile));
    else if (remote)
        location = QStringLiteral("#DOWNLOADABLE_PATH#/Packages/%1.%2")
                       .arg(remote->packageName, Settings::packageExtension());
    object.setLocation(location);
    object.setRemoteUrl(remote ? remote->remoteUrl : QString());

    EditorCollection::PersistentItem<Import::Object> item;
    item.uniqueId = nextUniqueId();
    item.item = &object;
    item.categories = categorySet;
    item.collectionId = collectionId();
    item.preview = image;

    if (localFile) {
        const QString source = *localFile;
        fixups.push_back([source](const QString& folder) {
            FS::copy(source, QStringLiteral("%1/%2").arg(folder, FS::fileName(source)));
        });
    }
    for (const QString& category : categorySet)
        addOn.categories.emplace(category, item.collectionId);

    Bundle::storeItem<Import::Object>(prefix + uuid, item);
    package->importAddOns.push_back(addOn);
    return fixups;
}

}  // namespace Package
