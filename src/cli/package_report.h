#pragma once

#include <QJsonObject>
#include <QString>
#include <array>
#include <deque>
#include <memory>
#include <vector>

#include "platform/bundle/package_reader.h"
#include "platform/model/package_object.h"
#include "platform/serialize/node.h"
#include "platform/serialize/object_storage.h"

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

// One add-on list of a package object: its name, the item type its records wrap, the member.
struct AddOnList {
    const char* name;      // "presets", "transitions", "effects" or "imports"
    const char* itemType;  // "Overlay::Preset", ...
    std::deque<Package::CollectionAddOn> Package::Object::*member;
};

// The four add-on lists, in the order they are shown.
const std::array<AddOnList, 4>& addOnLists();

// The type name that a stored item of the given add-on list must have.
QString expectedItemType(const QString& list);

// Reads back the stored item of `addOn`, an add-on of `list`, from the package unpacked in `root`,
// and checks that it has the type that the list needs, reading within `limits`. Its sub-objects go
// to `storage`. Throws Error naming the add-on or its "item.xml" (without the package), or
// Bundle::Error or Serialize::Error naming the "item.xml" entry (and the line).
std::unique_ptr<Serialize::ISerializable> readStoredItem(const QString& root, const QString& list,
                                                         const Package::CollectionAddOn& addOn,
                                                         Serialize::ObjectStorage& storage,
                                                         const Bundle::ReadLimits& limits = {});

}  // namespace Cli
