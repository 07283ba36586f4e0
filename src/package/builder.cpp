#include "package/builder.h"

#include <QBuffer>

#include "package/name_checks.h"
#include "package/preset_writer.h"
#include "platform/bundle/flat_writer.h"
#include "platform/fs/atomic_file.h"
#include "platform/fs/fs.h"
#include "platform/layout/package_structure_description.h"
#include "platform/serialize/archive.h"
#include "platform/serialize/no_gui_application_error.h"

namespace Package {

Builder::Builder(Package::Object&& package, const QString& packagePath, const QPixmap& preview)
    : m_packagePath(packagePath), m_preview(preview), m_package(std::move(package)) {
    m_manifestName = m_package.name;
}

Builder::Builder(const QString& folder, const QString& packagePath, const QString& contentName,
                 const QString& manifestName, const QPixmap& preview)
    : m_packagePath(packagePath),
      m_contentName(contentName),
      m_manifestName(manifestName),
      m_preview(preview) {
    m_package.folder = folder;
    m_package.name = contentName;
}

Builder& Builder::setupBuildComponent(std::shared_ptr<IBuildComponent> component) {
    m_components.push_back(std::move(component));
    return *this;
}

void Builder::build(const QString& uuid) {
    Types::requireGuiApplication(QStringLiteral("building the package %1").arg(m_packagePath));
    // Checked before any component writes: a marker in the folder would send files elsewhere, and
    // a name that XML cannot carry would leave the description and the content file disagreeing.
    requireNoReplaceableMarker(QStringLiteral("working folder"), m_package.folder);
    requireRepresentableName(QStringLiteral("package name"), m_manifestName);
    requireRepresentableName(QStringLiteral("package name"), m_package.name);
    ResourceFixupQueue combined;
    for (const auto& component : m_components) {
        ResourceFixupQueue fixups = component->build(&m_package);
        for (auto& fixup : fixups)
            combined.push_back(std::move(fixup));
    }
    fixupResources(&m_package, combined);
    writeConfig(&m_package, uuid);
    Bundle::Zip::compressAll(m_packagePath, m_package.folder, m_packOptions);
}

void Builder::fixupResources(Package::Object* package, const ResourceFixupQueue& fixups) {
    const QString resourceFolder = QStringLiteral("%1/%2/")
                                       .arg(package->folder)
                                       .arg(PackageStructureDescription::resourcesDir);
    FS::makePath(resourceFolder);
    for (const ResourceFixup& fixup : fixups)
        fixup(resourceFolder);  // an empty fixup throws std::bad_function_call
}

void Builder::writeConfig(Package::Object* package, const QString& uuid) {
    const QString folder = package->folder;
    // Encoded in memory and written through the checked writer: a preview that cannot be encoded
    // is skipped, but a disk that cannot take it fails the build.
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (m_preview.save(&buffer, "PNG", -1))
        FS::writeFileAtomically(folder + QStringLiteral("/preview.png"), png);
    auto writer = std::make_shared<Bundle::FlatWriter>(folder);
    // Measured before the description and the content file exist, so they are not counted.
    const qint64 size = FS::pathSize(folder);
    PresetWriter presetWriter(writer, m_descriptionRules, m_manifestName, size, uuid);
    const QByteArray content =
        Serialize::writeArchive(*package, presetWriter, Serialize::Format::Xml,
                                folder + QLatin1Char('/') + m_descriptionRules.contentFile);
    presetWriter.contentWriter()->writeContent(m_descriptionRules.contentFile, content);
}

}  // namespace Package
