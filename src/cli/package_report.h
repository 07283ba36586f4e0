#pragma once

#include <QJsonObject>
#include <QString>
#include <vector>

#include "platform/bundle/package_reader.h"
#include "platform/model/package_object.h"
#include "platform/serialize/node.h"

namespace Cli {

// What `inspect` shows of one add-on: the add-on itself and its stored item read back.
struct AddOnReport {
    QString list;  // "presets", "transitions", "effects" or "imports"
    const Package::CollectionAddOn* addOn = nullptr;
    Serialize::Node item;  // the stored item as read back
};

// An unpacked package, read back in full: description, content file and every stored item.
struct PackageReport {
    QString packagePath;
    Bundle::PackageManifest manifest;
    Package::Object object;
    std::vector<AddOnReport> addOns;

    // Unpacks `packagePath` into `folder` and reads everything back through the serialization
    // library. Throws naming the file and the place of the first problem.
    static PackageReport read(const QString& packagePath, const QString& folder);

    QJsonObject toJson() const;
    QString toText() const;
};

// The type name that a stored item of the given add-on list must have.
QString expectedItemType(const QString& list);

}  // namespace Cli
