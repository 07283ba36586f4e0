#include "cli/package_listing.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QTextStream>

#include "cli/cli_error.h"
#include "cli/package_report.h"
#include "cli/terminal_text.h"
#include "platform/bundle/description_parse_rules.h"
#include "platform/bundle/store_item.h"
#include "platform/serialize/archive.h"
#include "platform/serialize/error.h"

namespace Cli {
namespace {

// The item inside a stored record and its first title or name, read from the value tree alone:
// no image it names is decoded.
void describe(const Serialize::Node& record, QString* type, QString* title, QString* location) {
    for (const Serialize::Node& child : record.children) {
        if (child.name == QLatin1String("item") && child.type == Serialize::ValueType::Object)
            *type = child.className;
    }
    std::vector<const Serialize::Node*> pending{&record};
    QString name;
    while (!pending.empty()) {
        const Serialize::Node* node = pending.back();
        pending.pop_back();
        if (node->type == Serialize::ValueType::String && !node->text.isEmpty()) {
            if (node->name == QLatin1String("title") && title->isEmpty())
                *title = node->text;
            else if (node->name == QLatin1String("name") && name.isEmpty())
                name = node->text;
            else if (node->name == QLatin1String("location") && location->isEmpty())
                *location = node->text;
        }
        for (auto it = node->children.rbegin(); it != node->children.rend(); ++it)
            pending.push_back(&*it);
    }
    if (title->isEmpty())
        *title = name;
}

QString place(const PackageListing::Item& item) {
    return QStringLiteral("%1[%2]").arg(item.list).arg(item.index);
}

}  // namespace

PackageListing PackageListing::read(const PackageArchive& archive, const QString& packagePath) {
    const Bundle::ReadLimits limits;
    const Bundle::DescriptionParseRules rules;
    PackageListing listing;
    listing.packagePath = packagePath;
    try {
        listing.manifest = Bundle::parseManifest(
            archive.read(rules.descriptionFile, limits.maxDescriptionBytes), rules.descriptionFile);
        const QByteArray content =
            archive.read(listing.manifest.contentFile, limits.maxContentBytes);
        Serialize::MemoryContent none;
        Serialize::ObjectStorage storage;
        Serialize::readArchive(content, listing.manifest.contentFile, listing.object, none,
                               storage);
    } catch (const Error&) {
        throw;
    } catch (const std::exception& error) {
        throw Error(QStringLiteral("%1: %2").arg(packagePath, QString::fromUtf8(error.what())));
    }
    for (const AddOnList& list : addOnLists()) {
        const auto& addOns = listing.object.*list.member;
        for (size_t i = 0; i < addOns.size(); ++i) {
            Item item;
            item.list = QLatin1String(list.name);
            item.index = int(i);
            item.addOn = addOns[i];
            const QString entry = addOns[i].path + Bundle::itemFileName;
            try {
                if (!PackageArchive::nameProblem(addOns[i].path).isEmpty())
                    throw Error(QStringLiteral("its folder lies outside the package"));
                const Serialize::Node record = Serialize::parseXml(
                    archive.read(entry, limits.maxItemBytes), entry, Serialize::ParseLimits());
                describe(record, &item.type, &item.title, &item.location);
            } catch (const std::exception& error) {
                item.problem = QString::fromUtf8(error.what());
            }
            listing.items.push_back(item);
        }
    }
    return listing;
}

QString PackageListing::entryOf(const QString& name) const {
    static const QRegularExpression placed(QStringLiteral("^([a-z]+)\\[(\\d+)\\]$"));
    const QRegularExpressionMatch match = placed.match(name);
    for (const Item& item : items) {
        if ((match.hasMatch() && item.list == match.captured(1) &&
             item.index == match.captured(2).toInt()) ||
            item.addOn.path == name)
            return item.addOn.path + Bundle::itemFileName;
    }
    return match.hasMatch() ? QString() : name;
}

QString PackageListing::toText(const PackageArchive& archive) const {
    // Every name and text here comes from the package.
    const auto safe = terminalSafe;
    QString text;
    QTextStream out(&text);
    qint64 total = 0;
    for (const auto& entry : archive.entries())
        total += entry.size;
    out << "package " << safe(packagePath) << "\n"
        << "  name: " << safe(manifest.name) << "\n"
        << "  uuid: " << safe(manifest.uuid) << "\n"
        << "  entries: " << archive.entries().size() << ", " << total << " bytes unpacked\n";
    for (const AddOnList& list : addOnLists()) {
        out << list.name << ": " << (object.*list.member).size() << "\n";
        for (const Item& item : items) {
            if (item.list == QLatin1String(list.name))
                writeItem(out, item, archive);
        }
    }
    out.flush();
    return text;
}

void PackageListing::writeItem(QTextStream& out, const Item& item, const PackageArchive& archive) {
    const auto safe = terminalSafe;
    const auto size = [&](const QString& path) {
        if (const auto* entry = archive.find(path))
            out << "  " << entry->size << " bytes" << (entry->stored ? " stored" : "");
        else if (!path.isEmpty())
            out << "  missing";
        out << "\n";
    };
    out << "  " << place(item) << "  " << safe(item.addOn.path) << "  ";
    if (item.problem.isEmpty())
        out << safe(item.type) << " \"" << safe(item.title) << "\"\n";
    else
        out << "unreadable: " << safe(item.problem) << "\n";
    for (const Package::Resource& resource : item.addOn.resources) {
        out << "    " << safe(resource.path.isEmpty() ? QStringLiteral("(no file)") : resource.path)
            << "  kind " << int(resource.type());
        size(resource.path);
    }
    if (!item.location.isEmpty() && archive.find(item.location)) {
        out << "    " << safe(item.location) << "  location";
        size(item.location);
    }
}

QJsonObject PackageListing::toJson(const PackageArchive& archive) const {
    QJsonObject lists;
    for (const AddOnList& list : addOnLists())
        lists.insert(QLatin1String(list.name), QJsonArray());
    for (const Item& item : items) {
        QJsonArray resources;
        for (const Package::Resource& resource : item.addOn.resources) {
            QJsonObject entry{{QStringLiteral("path"), resource.path},
                              {QStringLiteral("kind"), int(resource.type())}};
            if (const auto* found = archive.find(resource.path)) {
                entry[QStringLiteral("size")] = double(found->size);
                entry[QStringLiteral("stored")] = found->stored;
            } else {
                entry[QStringLiteral("size")] = QJsonValue::Null;
            }
            resources.append(entry);
        }
        if (!item.location.isEmpty()) {
            QJsonObject entry{{QStringLiteral("path"), item.location},
                              {QStringLiteral("kind"), QStringLiteral("location")}};
            const auto* found = archive.find(item.location);
            entry[QStringLiteral("size")] = found ? QJsonValue(double(found->size)) : QJsonValue();
            resources.append(entry);
        }
        QJsonObject shown{{QStringLiteral("place"), place(item)},
                          {QStringLiteral("path"), item.addOn.path},
                          {QStringLiteral("type"), item.type},
                          {QStringLiteral("title"), item.title},
                          {QStringLiteral("resources"), resources}};
        if (!item.problem.isEmpty())
            shown[QStringLiteral("problem")] = item.problem;
        QJsonArray entries = lists.value(item.list).toArray();
        entries.append(shown);
        lists.insert(item.list, entries);
    }
    QJsonArray entries;
    for (const auto& entry : archive.entries())
        entries.append(QJsonObject{{QStringLiteral("name"), entry.name},
                                   {QStringLiteral("size"), double(entry.size)},
                                   {QStringLiteral("compressedSize"), double(entry.compressedSize)},
                                   {QStringLiteral("stored"), entry.stored}});
    return QJsonObject{{QStringLiteral("package"), packagePath},
                       {QStringLiteral("name"), manifest.name},
                       {QStringLiteral("uuid"), manifest.uuid},
                       {QStringLiteral("addOns"), lists},
                       {QStringLiteral("entries"), entries}};
}

}  // namespace Cli
