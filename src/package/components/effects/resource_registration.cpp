#include "package/components/effects/resource_registration.h"

#include "package/abstract_build_component.h"
#include "platform/fs/fs.h"
#include "platform/model/id_source.h"

namespace Package {

QString registerResource(ResourceFixupQueue& fixups, CollectionAddOn& addOn, ::Resource::Type kind,
                         const QString& source) {
    if (!FS::exists(source))
        return QString();
    const QString id = IdSource::current().newUuid().toString();
    const QString fileName = FS::fileName(source);
    const Resource resource(AbstractBuildComponent::makeResourcePath(fileName), id, kind);
    fixups.push_back([source, fileName](const QString& folder) {
        FS::copy(source, QStringLiteral("%1/%2").arg(folder, fileName));
    });
    addOn.resources.push_back(resource);
    return id;
}

}  // namespace Package
