#include "cli/diff_report.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QRegularExpression>
#include <algorithm>
#include <map>

#include "cli/terminal_text.h"
#include "platform/bundle/store_item.h"
#include "platform/bundle/zip.h"

namespace Cli {
namespace {

// The SHA-256 of a file's content, read in blocks; "missing" when there is no such file.
QString contentHash(const QString& path) {
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return QStringLiteral("missing");
    QCryptographicHash hash(QCryptographicHash::Sha256);
    // A project bundle records when it was written: its entries are what it holds.
    if (path.endsWith(QLatin1String(".bundle"))) {
        try {
            std::vector<Bundle::Zip::Entry> entries = Bundle::Zip::list(path);
            std::sort(entries.begin(), entries.end(),
                      [](const auto& a, const auto& b) { return a.name < b.name; });
            for (const Bundle::Zip::Entry& entry : entries)
                hash.addData(QStringLiteral("%1\n%2\n%3\n")
                                 .arg(entry.name)
                                 .arg(entry.size)
                                 .arg(entry.crc)
                                 .toUtf8());
            return QString::fromLatin1(hash.result().toHex());
        } catch (const std::exception&) {
            // not an archive after all: its bytes then
        }
    }
    if (!hash.addData(&file))
        return QStringLiteral("unreadable");
    return QString::fromLatin1(hash.result().toHex());
}

// A hash as shown: short enough for a line, long enough to tell two apart.
QString shownHash(const QString& hash) {
    return hash.size() == 64 ? QStringLiteral("sha256:") + hash.left(12) : hash;
}

// One add-on as compared.
struct Side {
    QString path;
    QString label;
    Serialize::Node item;
    std::map<QString, QString> categories;
    std::vector<std::pair<QString, QString>> resources;  // (field, value) per compared property
    std::map<QString, QString> files;                    // the add-on folder's own, by name
};

const Serialize::Node* findString(const Serialize::Node& node, const QString& name) {
    if (node.type == Serialize::ValueType::String && node.name == name)
        return &node;
    for (const Serialize::Node& child : node.children) {
        if (const Serialize::Node* found = findString(child, name))
            return found;
    }
    return nullptr;
}

Side readSide(const PackageReport& report, const AddOnReport& entry, bool ids) {
    const Package::CollectionAddOn& addOn = *entry.addOn;
    const QString root = report.object.folder;
    Side side;
    side.path = addOn.path;
    side.categories = addOn.categories;
    const auto& resources = addOn.resources;
    for (size_t i = 0; i < resources.size(); ++i) {
        const Package::Resource& resource = resources[i];
        const QString field = QStringLiteral("resources[%1].").arg(i);
        const QString file = Bundle::addOnFolder(root, resource.path);
        side.resources.push_back(
            {field + QStringLiteral("kind"), QString::number(resource.type())});
        side.resources.push_back({field + QStringLiteral("content"),
                                  file.isEmpty() ? QStringLiteral("outside the package")
                                                 : shownHash(contentHash(file))});
        side.resources.push_back(
            {field + QStringLiteral("timing"), QStringLiteral("%1 + %2 ms @ %3")
                                                   .arg(resource.timing.start)
                                                   .arg(resource.timing.length)
                                                   .arg(resource.timing.frameRate)});
        if (ids) {
            side.resources.push_back({field + QStringLiteral("id"), resource.id()});
            side.resources.push_back({field + QStringLiteral("path"), resource.path});
        }
    }
    const QString folder = Bundle::addOnFolder(root, addOn.path);
    if (!folder.isEmpty()) {
        for (const QFileInfo& info : QDir(folder).entryInfoList(QDir::Files | QDir::Hidden)) {
            if (info.fileName() != Bundle::itemFileName)
                side.files[info.fileName()] = shownHash(contentHash(info.filePath()));
        }
    }
    if (ids) {
        side.item = entry.item;
    } else {
        // A reference to a resource reads as its place; any other id by its order in the item,
        // so that two items that share an id in one package do so in the other too.
        std::map<QString, QString> renamed;
        side.item = DiffNode::renameIds(entry.item, [&](const QString& id) {
            const QString bare = id.startsWith(QLatin1Char('{')) ? id : QLatin1Char('{') + id + '}';
            for (size_t i = 0; i < resources.size(); ++i) {
                if (resources[i].id().compare(bare, Qt::CaseInsensitive) == 0)
                    return QStringLiteral("<resources[%1]>").arg(i);
            }
            const auto it = renamed.emplace(id, QStringLiteral("<id %1>").arg(renamed.size()));
            return it.first->second;
        });
    }
    side.label = addOn.path;
    for (const QString& key : {QStringLiteral("title"), QStringLiteral("name")}) {
        const Serialize::Node* name = findString(entry.item, key);
        if (name && !name->text.isEmpty()) {
            side.label = name->text;
            break;
        }
    }
    return side;
}

template <class Map>
void compareMaps(const Map& a, const Map& b, const QString& prefix, const QString& open,
                 const QString& close, std::vector<FieldChange>* changes) {
    std::map<QString, std::pair<QString, QString>> both;
    for (const auto& [key, value] : a)
        both[key].first = value;
    for (const auto& [key, value] : b)
        both[key].second = value;
    for (const auto& entry : both) {
        // A lambda cannot capture a structured binding in C++17 (clang refuses it).
        const auto& key = entry.first;
        const auto& values = entry.second;
        const bool inA = std::find_if(a.begin(), a.end(),
                                      [&](const auto& p) { return p.first == key; }) != a.end();
        const bool inB = std::find_if(b.begin(), b.end(),
                                      [&](const auto& p) { return p.first == key; }) != b.end();
        if (inA != inB || values.first != values.second)
            changes->push_back({prefix + open + key + close,
                                inA ? QLatin1Char('"') + values.first + '"' : QString(),
                                inB ? QLatin1Char('"') + values.second + '"' : QString()});
    }
}

std::vector<FieldChange> compareSides(const Side& a, const Side& b, bool ids) {
    std::vector<FieldChange> changes;
    if (ids && a.path != b.path)
        changes.push_back({QStringLiteral("path"), a.path, b.path});
    compareMaps(a.categories, b.categories, QStringLiteral("categories"), QStringLiteral("[\""),
                QStringLiteral("\"]"), &changes);
    compareMaps(a.resources, b.resources, QString(), QString(), QString(), &changes);
    compareMaps(a.files, b.files, QStringLiteral("files/"), QString(), QString(), &changes);
    DiffNode::compare(a.item, b.item, QStringLiteral("item"), &changes);
    return changes;
}

// Aligns two lists on their equal items (a longest common subsequence) and reports the rest: in
// each gap, items paired in order are changed, the others removed or added.
void compareList(const QString& list, const std::vector<Side>& a, const std::vector<Side>& b,
                 bool ids, std::vector<DiffReport::Entry>* entries) {
    const size_t n = a.size();
    const size_t m = b.size();
    std::vector<std::vector<char>> same(n, std::vector<char>(m, 0));
    for (size_t i = 0; i < n; ++i) {
        for (size_t j = 0; j < m; ++j)
            same[i][j] = compareSides(a[i], b[j], ids).empty();
    }
    std::vector<std::vector<int>> longest(n + 1, std::vector<int>(m + 1, 0));
    for (size_t i = n; i-- > 0;) {
        for (size_t j = m; j-- > 0;)
            longest[i][j] = same[i][j] ? longest[i + 1][j + 1] + 1
                                       : std::max(longest[i + 1][j], longest[i][j + 1]);
    }
    const auto place = [&](size_t index) { return QStringLiteral("%1[%2]").arg(list).arg(index); };
    size_t i = 0;
    size_t j = 0;
    std::vector<size_t> gapA;
    std::vector<size_t> gapB;
    const auto flush = [&] {
        const size_t paired = std::min(gapA.size(), gapB.size());
        for (size_t k = 0; k < paired; ++k) {
            for (const FieldChange& field : compareSides(a[gapA[k]], b[gapB[k]], ids))
                entries->push_back(
                    {DiffReport::Change::Changed, place(gapA[k]), a[gapA[k]].label, field});
        }
        for (size_t k = paired; k < gapA.size(); ++k)
            entries->push_back({DiffReport::Change::Removed, place(gapA[k]), a[gapA[k]].label, {}});
        for (size_t k = paired; k < gapB.size(); ++k)
            entries->push_back({DiffReport::Change::Added, place(gapB[k]), b[gapB[k]].label, {}});
        gapA.clear();
        gapB.clear();
    };
    while (i < n || j < m) {
        if (i < n && j < m && same[i][j] && longest[i][j] == longest[i + 1][j + 1] + 1) {
            flush();
            ++i;
            ++j;
        } else if (j >= m || (i < n && longest[i + 1][j] >= longest[i][j + 1])) {
            gapA.push_back(i++);
        } else {
            gapB.push_back(j++);
        }
    }
    flush();
}

const char* changeName(DiffReport::Change change) {
    switch (change) {
        case DiffReport::Change::Added:
            return "added";
        case DiffReport::Change::Removed:
            return "removed";
        case DiffReport::Change::Changed:
            break;
    }
    return "changed";
}

}  // namespace

DiffReport DiffReport::compare(const PackageReport& first, const PackageReport& second, bool ids) {
    DiffReport report;
    std::vector<FieldChange> description;
    const auto quoted = [](const QString& text) { return QLatin1Char('"') + text + '"'; };
    if (first.manifest.name != second.manifest.name)
        description.push_back(
            {QStringLiteral("name"), quoted(first.manifest.name), quoted(second.manifest.name)});
    if (ids && first.manifest.uuid != second.manifest.uuid)
        description.push_back({QStringLiteral("uuid"), first.manifest.uuid, second.manifest.uuid});
    const auto preview = [](const PackageReport& report) {
        const QString path = Bundle::addOnFolder(report.object.folder, report.manifest.previewPath);
        return path.isEmpty() ? QStringLiteral("outside the package")
                              : shownHash(contentHash(path));
    };
    const QString previewA = preview(first);
    const QString previewB = preview(second);
    if (previewA != previewB)
        description.push_back({QStringLiteral("preview"), previewA, previewB});
    for (const FieldChange& field : description)
        report.entries.push_back(
            {Change::Changed, QStringLiteral("description"), QString(), field});

    for (const AddOnList& info : addOnLists()) {
        const QString list = QLatin1String(info.name);
        std::vector<Side> a;
        std::vector<Side> b;
        for (const AddOnReport& entry : first.addOns) {
            if (entry.list == list)
                a.push_back(readSide(first, entry, ids));
        }
        for (const AddOnReport& entry : second.addOns) {
            if (entry.list == list)
                b.push_back(readSide(second, entry, ids));
        }
        compareList(list, a, b, ids, &report.entries);
    }
    return report;
}

QString DiffReport::toText() const {
    QString text;
    for (const Entry& entry : entries) {
        QString line = QLatin1String(changeName(entry.change)) + QLatin1Char(' ') + entry.place;
        if (!entry.item.isEmpty())
            line += QStringLiteral(" \"%1\"").arg(entry.item);
        if (!entry.field.field.isEmpty()) {
            line += QStringLiteral(": ") + entry.field.field + QStringLiteral(": ");
            if (entry.field.before.isEmpty())
                line += QStringLiteral("added ") + entry.field.after;
            else if (entry.field.after.isEmpty())
                line += QStringLiteral("removed ") + entry.field.before;
            else
                line += entry.field.before + QStringLiteral(" -> ") + entry.field.after;
        }
        // Every text here may come from a package.
        text += terminalSafe(line) + QLatin1Char('\n');
    }
    return text;
}

QJsonObject DiffReport::toJson() const {
    QJsonArray differences;
    for (const Entry& entry : entries) {
        QJsonObject difference{{QStringLiteral("change"), QLatin1String(changeName(entry.change))},
                               {QStringLiteral("place"), entry.place},
                               {QStringLiteral("item"), entry.item}};
        if (!entry.field.field.isEmpty()) {
            difference[QStringLiteral("field")] = entry.field.field;
            difference[QStringLiteral("before")] = entry.field.before;
            difference[QStringLiteral("after")] = entry.field.after;
        }
        differences.append(difference);
    }
    return QJsonObject{{QStringLiteral("equal"), equal()},
                       {QStringLiteral("differences"), differences}};
}

}  // namespace Cli
