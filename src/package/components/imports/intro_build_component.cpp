#include "package/components/imports/intro_build_component.h"

#include <QStringList>
#include <stdexcept>

#include "package/components/imports/import_item.h"
#include "platform/fs/fs.h"
#include "platform/model/id_source.h"
#include "platform/model/package_object.h"
#include "platform/model/timeline_object.h"
#include "platform/project/project_writer.h"

namespace Package {

IntroBuildComponent::IntroBuildComponent(const IntroParams& params) : m_params(params.clone()) {}

QString IntroBuildComponent::bundlePath(const QString& workingFolder) {
    return FS::cleanPath(workingFolder + QStringLiteral("/../build") +
                         QStringLiteral("/intro.bundle"));
}

void IntroBuildComponent::requireBundleOutside(const QString& workingFolder) {
    const QString root = FS::cleanPath(workingFolder);
    const QString bundle = bundlePath(workingFolder);
    // Compared without case too: on a case-insensitive disk "Build" is the same folder.
    if (bundle.startsWith(root + QLatin1Char('/'), Qt::CaseInsensitive))
        throw std::invalid_argument(
            QStringLiteral("working folder: \"%1\": the intro bundle %2 would be written inside "
                           "it, since the bundle goes to \"../build\"; name the working folder "
                           "otherwise")
                .arg(workingFolder, bundle)
                .toStdString());
}

ResourceFixupQueue IntroBuildComponent::build(Package::Object* package) {
    const QString root = package->folder;
    requireBundleOutside(root);
    const QString uuid = IdSource::current().newUuid().toString();
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

    Import::Object object =
        makeImportObject(categories(), m_params.primaryText, m_params.secondaryText);
    object.setKind(Import::Object::Intro);
    object.setLocation(makeResourcePath(FS::fileName(bundle)));
    storeImportItem(package, uuid, object, *this);
    return fixups;
}

}  // namespace Package
