#pragma once

#include <QString>

#include "platform/pubsub/pubsub_object.h"
#include "platform/serialize/serializable.h"

namespace Transition {

// A transition of the editor: its two leading texts and its catalogue id.
class Object : public virtual Serialize::ISerializable, public virtual PubSub::Object {
public:
    Object() = default;
    explicit Object(const QString& id) : id(id) {}

    QString title;
    QString description;
    QString id;

    static std::string staticTypeName() { return "Transition::Object"; }
    std::string typeName() const override { return staticTypeName(); }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

}  // namespace Transition
