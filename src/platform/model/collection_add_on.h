#pragma once

#include <QString>
#include <deque>
#include <map>

#include "platform/model/resource.h"
#include "platform/serialize/serializable.h"

namespace Package {

// One stored item folder of a package: its path relative to the package root ("effects/{uuid}/"),
// its categories (category id to collection id) and the resources that the item uses. A value
// type; reading one throws Serialize::Error for a malformed archive.
class CollectionAddOn : public Serialize::ISerializable {
public:
    QString path;
    std::map<QString, QString> categories;
    std::deque<Resource> resources;

    static std::string staticTypeName() { return "Package::CollectionAddOn"; }
    std::string typeName() const override { return staticTypeName(); }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;

    friend bool operator==(const CollectionAddOn& a, const CollectionAddOn& b) {
        return a.path == b.path && a.categories == b.categories && a.resources == b.resources;
    }
};

}  // namespace Package
