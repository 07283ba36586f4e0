#include "cli/package_report.h"

#include <QFileInfo>
#include <QJsonArray>
#include <typeinfo>

#include "cli/cli_error.h"
#include "cli/node_formatter.h"
#include "cli/terminal_text.h"
#include "package/type_registration.h"
#include "platform/bundle/bundle_error.h"
#include "platform/bundle/folder_content_source.h"
#include "platform/bundle/store_item.h"
#include "platform/serialize/archive.h"

namespace Cli {
namespace {

QJsonObject resourceJson(const Package::Resource& resource) {
    return QJsonObject{{QStringLiteral("path"), resource.path},
                       {QStringLiteral("id"), resource.id()},
                       {QStringLiteral("type"), int(resource.type())},
                       {QStringLiteral("timing"),
                        QJsonObject{{QStringLiteral("start"), double(resource.timing.start)},
                                    {QStringLiteral("length"), double(resource.timing.length)},
                                    {QStringLiteral("frameRate"), resource.timing.frameRate}}}};
}

}  // namespace

const std::array<AddOnList, 4>& addOnLists() {
    static const std::array<AddOnList, 4> lists = {{
        {"presets", "Overlay::Preset", &Package::Object::presetAddOns},
        {"transitions", "Transition::Object", &Package::Object::transitionAddOns},
        {"effects", "Effect::Object", &Package::Object::effectAddOns},
        {"imports", "Import::Object", &Package::Object::importAddOns},
    }};
    return lists;
}

QString expectedItemType(const QString& list) {
    for (const AddOnList& info : addOnLists()) {
        if (list == QLatin1String(info.name))
            return QStringLiteral("EditorCollection::PersistentItem<%1>")
                .arg(QLatin1String(info.itemType));
    }
    return QString();
}

std::unique_ptr<Serialize::ISerializable> readStoredItem(const QString& root, const QString& list,
                                                         const Package::CollectionAddOn& addOn,
                                                         Serialize::ObjectStorage& storage,
                                                         const Bundle::ReadLimits& limits) {
    const QString itemFolder = Bundle::addOnFolder(root, addOn.path);
    if (itemFolder.isEmpty())
        throw Error(QStringLiteral("content file: the %1 add-on '%2' points outside the package")
                        .arg(list, addOn.path));
    const QString entryName = addOn.path + Bundle::itemFileName;
    const QString itemPath = itemFolder + QLatin1Char('/') + Bundle::itemFileName;
    if (!QFileInfo(itemPath).isFile())
        throw Error(QStringLiteral("%1: the stored item is missing").arg(entryName));
    // Within the same limits as the editor's own reading of stored items.
    const QByteArray data = Bundle::readWholeFile(itemPath, limits.maxItemBytes, entryName);
    Bundle::FolderContentSource source(itemFolder, limits);
    std::unique_ptr<Serialize::ISerializable> item;
    try {
        item = Serialize::readArchive(data, entryName, source, storage);
    } catch (const std::bad_cast&) {
        throw Error(QStringLiteral("%1: the stored item is not of the type its record names")
                        .arg(entryName));
    }
    const QString type = item ? QString::fromStdString(item->typeName()) : QStringLiteral("null");
    if (type != expectedItemType(list))
        throw Error(QStringLiteral("%1: holds a '%2' where a '%3' belongs")
                        .arg(entryName, type, expectedItemType(list)));
    return item;
}

PackageReport PackageReport::read(const QString& packagePath, const QString& folder) {
    Package::registerTypes();
    PackageReport report;
    report.packagePath = packagePath;
    report.object = Bundle::openPackage(packagePath, folder, &report.manifest);

    for (const AddOnList& info : addOnLists()) {
        for (const Package::CollectionAddOn& addOn : report.object.*info.member) {
            const QString list = QLatin1String(info.name);
            Serialize::ObjectStorage storage;
            std::unique_ptr<Serialize::ISerializable> item;
            try {
                item = readStoredItem(folder, list, addOn, storage);
            } catch (const Error& error) {
                throw Error(
                    QStringLiteral("%1: %2").arg(packagePath, QString::fromUtf8(error.what())));
            } catch (const Bundle::Error& error) {
                throw Error(
                    QStringLiteral("%1: %2").arg(packagePath, QString::fromUtf8(error.what())));
            }
            report.addOns.push_back({list, &addOn, NodeFormatter::describe(*item)});
        }
    }
    return report;
}

QJsonObject PackageReport::toJson() const {
    QJsonObject lists;
    for (const AddOnList& info : addOnLists())
        lists.insert(QLatin1String(info.name), QJsonArray());
    for (const AddOnReport& entry : addOns) {
        QJsonObject categories;
        for (const auto& category : entry.addOn->categories)
            categories.insert(category.first, category.second);
        QJsonArray resources;
        for (const Package::Resource& resource : entry.addOn->resources)
            resources.append(resourceJson(resource));
        QJsonArray list = lists.value(entry.list).toArray();
        list.append(QJsonObject{{QStringLiteral("path"), entry.addOn->path},
                                {QStringLiteral("categories"), categories},
                                {QStringLiteral("resources"), resources},
                                {QStringLiteral("item"), Cli::toJson(entry.item)}});
        lists.insert(entry.list, list);
    }
    return QJsonObject{
        {QStringLiteral("package"), packagePath},
        {QStringLiteral("description"),
         QJsonObject{{QStringLiteral("uuid"), manifest.uuid},
                     {QStringLiteral("name"), manifest.name},
                     {QStringLiteral("size"), double(manifest.size)},
                     {QStringLiteral("previewPath"), manifest.previewPath},
                     {QStringLiteral("contentFile"), manifest.contentFile},
                     {QStringLiteral("version"), manifest.version}}},
        {QStringLiteral("content"), QJsonObject{{QStringLiteral("name"), object.name}}},
        {QStringLiteral("addOns"), lists},
    };
}

QString PackageReport::toText() const {
    // Every text below comes from the package; none may reach the terminal raw.
    const auto safe = terminalSafe;
    QString text;
    QTextStream out(&text);
    // The labels are the description's field names, as --json gives them.
    out << "package " << safe(packagePath) << "\n"
        << "  uuid:        " << safe(manifest.uuid) << "\n"
        << "  name:        " << safe(manifest.name) << "\n"
        << "  size:        " << manifest.size << " bytes\n"
        << "  previewPath: " << safe(manifest.previewPath) << "\n"
        << "  contentFile: " << safe(manifest.contentFile) << " (layout version "
        << manifest.version << ")\n";
    for (const AddOnList& info : addOnLists()) {
        const QString list = QLatin1String(info.name);
        const auto count = (object.*info.member).size();
        out << list << ": " << count << "\n";
        for (const AddOnReport& entry : addOns) {
            if (entry.list != list)
                continue;
            out << "  " << safe(entry.addOn->path) << "\n";
            out << "    categories:";
            if (entry.addOn->categories.empty())
                out << " none";
            out << "\n";
            for (const auto& category : entry.addOn->categories)
                out << "      \"" << safe(category.first) << "\" -> \"" << safe(category.second)
                    << "\"\n";
            out << "    resources:" << (entry.addOn->resources.empty() ? " none" : "") << "\n";
            for (const Package::Resource& resource : entry.addOn->resources) {
                out << "      " << safe(resource.path) << "  id " << safe(resource.id())
                    << "  type " << int(resource.type()) << "  timing " << resource.timing.start
                    << " + " << resource.timing.length << " ms @ " << resource.timing.frameRate
                    << "\n";
            }
            out << "    item: " << safe(entry.item.className) << "\n" << Cli::toText(entry.item, 6);
        }
    }
    out.flush();
    return text;
}

}  // namespace Cli
