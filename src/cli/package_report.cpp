#include "cli/package_report.h"

#include <QFile>
#include <QJsonArray>
#include <typeinfo>

#include "cli/cli_error.h"
#include "cli/node_formatter.h"
#include "platform/bundle/folder_content_source.h"
#include "platform/bundle/store_item.h"
#include "platform/serialize/archive.h"

namespace Cli {
namespace {

struct ListInfo {
    const char* name;
    const char* itemType;
    std::deque<Package::CollectionAddOn> Package::Object::*member;
};

const ListInfo kLists[] = {
    {"presets", "Overlay::Preset", &Package::Object::presetAddOns},
    {"transitions", "Transition::Object", &Package::Object::transitionAddOns},
    {"effects", "Effect::Object", &Package::Object::effectAddOns},
    {"imports", "Import::Object", &Package::Object::importAddOns},
};

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

QString expectedItemType(const QString& list) {
    for (const ListInfo& info : kLists) {
        if (list == QLatin1String(info.name))
            return QStringLiteral("EditorCollection::PersistentItem<%1>")
                .arg(QLatin1String(info.itemType));
    }
    return QString();
}

PackageReport PackageReport::read(const QString& packagePath, const QString& folder) {
    PackageReport report;
    report.packagePath = packagePath;
    report.object = Bundle::openPackage(packagePath, folder, &report.manifest);

    for (const ListInfo& info : kLists) {
        for (const Package::CollectionAddOn& addOn : report.object.*info.member) {
            const QString list = QLatin1String(info.name);
            const QString itemFolder = Bundle::addOnFolder(folder, addOn.path);
            if (itemFolder.isEmpty())
                throw Error(QStringLiteral(
                                "%1: content file: the %2 add-on '%3' points outside the package")
                                .arg(packagePath, list, addOn.path));
            const QString itemPath = itemFolder + QLatin1Char('/') + Bundle::itemFileName;
            QFile file(itemPath);
            if (!file.open(QIODevice::ReadOnly))
                throw Error(QStringLiteral("%1: %2%3: the stored item is missing")
                                .arg(packagePath, addOn.path, Bundle::itemFileName));
            Serialize::ObjectStorage storage;
            Bundle::FolderContentSource source(itemFolder);
            const QString entryName = addOn.path + Bundle::itemFileName;
            std::unique_ptr<Serialize::ISerializable> item;
            try {
                item = Serialize::readArchive(file.readAll(), entryName, source, storage);
            } catch (const std::bad_cast&) {
                throw Error(
                    QStringLiteral("%1: %2: the stored item is not of the type its record names")
                        .arg(packagePath, entryName));
            }
            const QString type =
                item ? QString::fromStdString(item->typeName()) : QStringLiteral("null");
            if (type != expectedItemType(list))
                throw Error(QStringLiteral("%1: %2: holds a '%3' where a '%4' belongs")
                                .arg(packagePath, entryName, type, expectedItemType(list)));
            report.addOns.push_back({list, &addOn, NodeFormatter::describe(*item)});
        }
    }
    return report;
}

QJsonObject PackageReport::toJson() const {
    QJsonObject lists;
    for (const ListInfo& info : kLists)
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
    QString text;
    QTextStream out(&text);
    out << "package " << packagePath << "\n"
        << "  uuid:        " << manifest.uuid << "\n"
        << "  name:        " << manifest.name << "\n"
        << "  size:        " << manifest.size << " bytes\n"
        << "  preview:     " << manifest.previewPath << "\n"
        << "  content:     " << manifest.contentFile << " (layout version " << manifest.version
        << ")\n";
    for (const ListInfo& info : kLists) {
        const QString list = QLatin1String(info.name);
        const auto count = (object.*info.member).size();
        out << list << ": " << count << "\n";
        for (const AddOnReport& entry : addOns) {
            if (entry.list != list)
                continue;
            out << "  " << entry.addOn->path << "\n";
            out << "    categories:";
            if (entry.addOn->categories.empty())
                out << " none";
            out << "\n";
            for (const auto& category : entry.addOn->categories)
                out << "      \"" << category.first << "\" -> \"" << category.second << "\"\n";
            out << "    resources:" << (entry.addOn->resources.empty() ? " none" : "") << "\n";
            for (const Package::Resource& resource : entry.addOn->resources) {
                out << "      " << resource.path << "  id " << resource.id() << "  type "
                    << int(resource.type()) << "  timing " << resource.timing.start << " + "
                    << resource.timing.length << " ms @ " << resource.timing.frameRate << "\n";
            }
            out << "    item: " << entry.item.className << "\n" << Cli::toText(entry.item, 6);
        }
    }
    out.flush();
    return text;
}

}  // namespace Cli
