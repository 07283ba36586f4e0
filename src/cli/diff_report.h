#pragma once

#include <QJsonObject>
#include <QString>
#include <vector>

#include "cli/diff_node.h"
#include "cli/package_report.h"

namespace Cli {

// What `diff` found between two packages read back in full: the description, then each add-on
// list item by item, aligned so that an item added or removed is one line rather than a change
// of every item after it.
//
// Meaning, not bytes: resources are compared by kind, timing and the SHA-256 of their content
// (a project bundle by its entries, since the archive records when it was written), previews by
// their content, numbers within DiffNode's tolerance. The ids that every build makes afresh (the
// package uuid, add-on folders, resource and item ids) are left out unless `ids` is set; an item's
// references to its resources then read as the resource's place in its add-on.
class DiffReport {
public:
    enum class Change { Added, Removed, Changed };
    struct Entry {
        Change change = Change::Changed;
        QString place;      // "description", "effects[2]": the index in the first package, or in
                            // the second for an added item
        QString item;       // the item's title, else its add-on's path
        FieldChange field;  // empty for an added or removed item
    };

    static DiffReport compare(const PackageReport& first, const PackageReport& second, bool ids);

    bool equal() const { return entries.empty(); }
    // One line per entry: `changed effects[0] "Warm": item.title: "Warm" -> "Cold"`.
    QString toText() const;
    QJsonObject toJson() const;

    std::vector<Entry> entries;
};

}  // namespace Cli
