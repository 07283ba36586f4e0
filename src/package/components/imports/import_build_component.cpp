#include "package/components/imports/import_build_component.h"

#include "package/components/imports/import_item.h"
#include "platform/fs/fs.h"
#include "platform/layout/package_structure_description.h"
#include "platform/model/id_source.h"

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
    const QString uuid = IdSource::current().newUuid().toString();
    IdSource::current().newUuid();  // a second id was once made here; the sequence of ids is kept
    ResourceFixupQueue fixups;

    Import::Object object =
        makeImportObject(categories(), m_params.primaryText, m_params.secondaryText);
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

    if (localFile) {
        const QString source = *localFile;
        fixups.push_back([source](const QString& folder) {
            FS::copy(source, QStringLiteral("%1/%2").arg(folder, FS::fileName(source)));
        });
    }
    storeImportItem(package, uuid, object, *this);
    return fixups;
}

}  // namespace Package
