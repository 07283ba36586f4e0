#pragma once

#include <QString>
#include <deque>

#include "platform/model/collection_add_on.h"
#include "platform/pubsub/pubsub_object.h"
#include "platform/serialize/serializable.h"

namespace Package {

// The package being built or opened: its working folder, its name and its four add-on lists.
// Serialized as a whole into the package's content file. A value type: copies are independent.
// Reading one throws Serialize::Error for a malformed content file.
class Object : public virtual Serialize::ISerializable, public virtual PubSub::Object {
public:
    QString folder;  // absolute path of the working (or unpack) folder
    QString name;
    std::deque<CollectionAddOn> presetAddOns;  // overlay presets
    std::deque<CollectionAddOn> transitionAddOns;
    std::deque<CollectionAddOn> effectAddOns;
    std::deque<CollectionAddOn> importAddOns;  // imports and intros

    static std::string staticTypeName() { return "Package::Object"; }
    std::string typeName() const override { return staticTypeName(); }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

}  // namespace Package
