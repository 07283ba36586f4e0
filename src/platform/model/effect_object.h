#pragma once

#include <QString>

#include "platform/model/catalogue_ids.h"
#include "platform/pubsub/pubsub_object.h"
#include "platform/serialize/serializable.h"

namespace Effect {

// An effect of the editor: its two leading texts (the title and the description that the editor
// shows), its catalogue id and its group. A value type that owns its texts. Reading one throws
// Serialize::Error for a malformed archive.
class Object : public virtual Serialize::ISerializable, public virtual PubSub::Object {
public:
    Object() = default;
    Object(const QString& id, const QString& group) : id(id), group(group) {}

    QString title;
    QString description;
    QString id;
    QString group;

    static std::string staticTypeName() { return "Effect::Object"; }
    std::string typeName() const override { return staticTypeName(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<Object>(*this);
    }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

}  // namespace Effect
