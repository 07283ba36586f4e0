#include "package/components/imports/intro_build_component.h"

#include <QStringList>
#include <QUuid>

#include "platform/bundle/store_item.h"
#include "platform/fs/fs.h"
#include "platform/layout/package_structure_description.h"
#include "platform/model/import_object.h"
#include "platform/model/package_object.h"
#include "platform/model/timeline_object.h"
#include "platform/model/unique_id.h"
#include "platform/project/project_writer.h"

namespace Package {

IntroBuildComponent::IntroBuildComponent(const IntroParams& params) : m_params(params.clone()) {}

QString IntroBuildComponent::bundlePath(const QString& workingFolder) {
    return FS::cleanPath(workingFolder + QStringLiteral("/../build") +
                         QStringLiteral("/intro.bundle"));
}

ResourceFixupQueue IntroBuildComponent::build(Package::Object* package) {
    const QString root = package->folder;
    const QString uuid = QUuid::createUuid().toString();
    const QString prefix =
        QStringLiteral("%1/%2/").arg(root, PackageStructureDescription::importDir);
    const QString bundle = bundlePath(root);

    Project::Content content;
    content.projectObject = m_params.timeline;
    Project::PortableWriter writer(bundle, QStringLiteral("./"), Project::ZipBundle);
    writer.write(&content);  // a failed write leaves the bundle missing; the copy then fails too
    QStringList files;
    for (const auto& entry : writer.pathMapping())
        files << entry.first;
    files << bundle;

    ResourceFixupQueue fixups;
    fixups.push_back([files](const QString& folder) {
        for (const QString& file : files)
            FS::copy(file, QStringLiteral("%1/%2").arg(folder, FS::fileName(file)));
    });

    const Types::Image image = preview();
    const std::set<QString> categorySet = categories();
    Import::Object object;
    if (!categorySet.empty())
        object.setCategory(*categorySet.begin());
    object.setTitle(m_params.primaryText);
    object.setDescription(m_params.secondaryText);
    object.setKind(Import::Object::Intro);
    object.setLocation(makeResourcePath(FS::fileName(bundle)));

    CollectionAddOn addOn;
    addOn.path = QStringLiteral("%1/%2/").arg(PackageStructureDescription::importDir, uuid);

    EditorCollection::PersistentItem<Import::Object> item;
    item.uniqueId = nextUniqueId();
    item.item = &object;
    item.categories = categorySet;
    item.collectionId = collectionId();
    item.preview = image;

    for (const QString& category : categorySet)
        addOn.categories.emplace(category, item.collectionId);
    Bundle::storeItem<Import::Object>(prefix + uuid, item);
    package->importAddOns.push_back(addOn);
    return fixups;
}

}  // namespace Package
