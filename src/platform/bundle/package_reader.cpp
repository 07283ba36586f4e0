#include "platform/bundle/package_reader.h"

#include <QDir>
#include <QFile>
#include <QXmlStreamReader>

#include <algorithm>

#include "platform/bundle/bundle_error.h"
#include "platform/bundle/flat_writer.h"
#include "platform/bundle/folder_content_source.h"
#include "platform/bundle/zip.h"
#include "platform/layout/package_structure_description.h"
#include "platform/serialize/archive.h"
#include "platform/serialize/no_gui_application_error.h"

namespace Bundle {
namespace {

[[noreturn]] void fail(const QString& source, qint64 line, const QString& what) {
    throw Error(QStringLiteral("%1:%2: %3").arg(source).arg(line).arg(what).toStdString());
}

}  // namespace

QByteArray readWholeFile(const QString& path, qint64 limit, const QString& sourceName) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Error(QStringLiteral("%1: cannot read: %2")
                        .arg(sourceName, file.errorString())
                        .toStdString());
    // The size is checked before anything is read, and what is read stops past the limit all the
    // same: the file may not be what its size said.
    QByteArray data = file.size() > limit ? QByteArray() : file.read(limit + 1);
    if (file.size() > limit || data.size() > limit)
        throw Error(QStringLiteral("%1: is larger than the limit of %2 bytes (%3 bytes)")
                        .arg(sourceName)
                        .arg(limit)
                        .arg(std::max<qint64>(file.size(), data.size()))
                        .toStdString());
    if (file.error() != QFileDevice::NoError)
        throw Error(QStringLiteral("%1: cannot read: %2")
                        .arg(sourceName, file.errorString())
                        .toStdString());
    return data;
}

PackageManifest parseManifest(const QByteArray& data, const QString& sourceName) {
    using Rules = DescriptionParseRules;
    PackageManifest manifest;
    QXmlStreamReader xml(data);
    bool haveManifest = false;
    bool haveRoot = false;
    QStringList seen;
    int depth = 0;
    QString parent;
    while (!xml.atEnd()) {
        const auto token = xml.readNext();
        if (token == QXmlStreamReader::DTD)
            fail(sourceName, xml.lineNumber(),
                 QStringLiteral("document type declarations are not allowed"));
        if (token == QXmlStreamReader::EntityReference)
            fail(sourceName, xml.lineNumber(), QStringLiteral("entity references are not allowed"));
        if (token == QXmlStreamReader::EndElement) {
            --depth;
            continue;
        }
        if (token != QXmlStreamReader::StartElement)
            continue;
        ++depth;
        const QString name = xml.name().toString();
        if (depth == 1) {
            if (name != Rules::versionsTag)
                fail(sourceName, xml.lineNumber(),
                     QStringLiteral("not a package description: the root element is <%1>, not <%2>")
                         .arg(name, Rules::versionsTag));
            haveRoot = true;
        }
        if (depth == 2)
            parent = name;  // only children of <additionals> are read below
        if (depth == 2 && name == Rules::manifestFileTag) {
            manifest.contentFile = xml.attributes().value(Rules::fileTag).toString();
            bool ok = false;
            manifest.version = xml.attributes().value(Rules::versionTag).toInt(&ok);
            if (!ok)
                fail(sourceName, xml.lineNumber(),
                     QStringLiteral("<%1> has no valid '%2'")
                         .arg(Rules::manifestFileTag, Rules::versionTag));
            if (!isPlainFileName(manifest.contentFile))
                fail(sourceName, xml.lineNumber(),
                     QStringLiteral(
                         "<%1> names the content file '%2', which is not a plain file name")
                         .arg(Rules::manifestFileTag, manifest.contentFile));
            haveManifest = true;
        } else if (depth == 3 && parent == Rules::additionalsTag) {
            const qint64 line = xml.lineNumber();
            const QString text = xml.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
            --depth;
            if (xml.hasError())
                break;
            seen << name;
            if (name == QLatin1String("uuid")) {
                manifest.uuid = text;
            } else if (name == QLatin1String("name")) {
                manifest.name = text;
            } else if (name == QLatin1String("previewPath")) {
                manifest.previewPath = text;
            } else if (name == QLatin1String("size")) {
                bool ok = false;
                manifest.size = text.toLongLong(&ok);
                if (!ok || manifest.size < 0)
                    fail(sourceName, line,
                         QStringLiteral("<size> holds '%1', not a size in bytes").arg(text));
            }
        }
    }
    if (xml.hasError())
        fail(sourceName, xml.lineNumber(),
             QStringLiteral("malformed XML: %1").arg(xml.errorString()));
    if (!haveRoot)
        fail(sourceName, xml.lineNumber(),
             QStringLiteral("not a package description: no <%1>").arg(Rules::versionsTag));
    if (!haveManifest)
        fail(sourceName, xml.lineNumber(),
             QStringLiteral("no <%1> element").arg(Rules::manifestFileTag));
    if (manifest.version > Package::PackageDescription::actualVersion())
        fail(sourceName, 1,
             QStringLiteral("package layout version %1 is newer than the supported version %2")
                 .arg(manifest.version)
                 .arg(Package::PackageDescription::actualVersion()));
    for (const char* required : {"uuid", "name", "size"}) {
        if (!seen.contains(QLatin1String(required)))
            fail(sourceName, xml.lineNumber(),
                 QStringLiteral("<%1> has no <%2>")
                     .arg(Rules::additionalsTag, QLatin1String(required)));
    }
    return manifest;
}

PackageManifest readManifest(const QString& folder, const QString& sourceName,
                             const DescriptionParseRules& rules, const ReadLimits& limits) {
    return parseManifest(readWholeFile(folder + QLatin1Char('/') + rules.descriptionFile,
                                       limits.maxDescriptionBytes, sourceName),
                         sourceName);
}

Package::Object readContentFile(const QString& folder, const QString& contentFile,
                                const QString& sourceName, const ReadLimits& limits) {
    const QByteArray content =
        readWholeFile(folder + QLatin1Char('/') + contentFile, limits.maxContentBytes, sourceName);
    Package::Object object;
    Serialize::ObjectStorage storage;
    FolderContentSource source(folder, limits);
    Serialize::readArchive(content, sourceName, object, source, storage);
    // The object is where it was unpacked now, wherever it was built.
    object.folder = folder;
    return object;
}

Package::Object readPackageFolder(const QString& folder, PackageManifest* manifestOut,
                                  const DescriptionParseRules& rules, const ReadLimits& limits) {
    Types::requireGuiApplication(QStringLiteral("reading the package in %1").arg(folder));
    const PackageManifest manifest =
        readManifest(folder, folder + QLatin1Char('/') + rules.descriptionFile, rules, limits);
    Package::Object object = readContentFile(
        folder, manifest.contentFile, folder + QLatin1Char('/') + manifest.contentFile, limits);
    if (manifestOut)
        *manifestOut = manifest;
    return object;
}

Package::Object openPackage(const QString& packagePath, const QString& folder,
                            PackageManifest* manifest, const DescriptionParseRules& rules,
                            const ReadLimits& limits) {
    // Before unpacking: the stored previews could not be read, so nothing would be gained.
    Types::requireGuiApplication(QStringLiteral("opening the package %1").arg(packagePath));
    Zip::extractAll(packagePath, folder, limits);
    return readPackageFolder(folder, manifest, rules, limits);
}

QString addOnFolder(const QString& root, const QString& addOnPath) {
    if (root.isEmpty() || addOnPath.isEmpty() || QDir::isAbsolutePath(addOnPath) ||
        addOnPath.contains(QLatin1Char('\\')))
        return QString();
    const QString cleanRoot = QDir::cleanPath(root);
    const QString folder = QDir::cleanPath(cleanRoot + QLatin1Char('/') + addOnPath);
    if (!folder.startsWith(cleanRoot + QLatin1Char('/')))
        return QString();
    return folder;
}

}  // namespace Bundle
