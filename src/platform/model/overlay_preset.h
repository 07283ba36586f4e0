#pragma once

#include <QString>
#include <utility>
#include <vector>

#include "platform/model/animation.h"
#include "platform/model/transform.h"
#include "platform/pubsub/pubsub_object.h"
#include "platform/serialize/serializable.h"

namespace Overlay {

// One element of an overlay: a text, an image or a video laid over the picture for a part of the
// preset's duration.
class Item : public Serialize::ISerializable {
public:
    // What the item shows. A video item's `resource` names a package resource ("{id}:1").
    enum Kind : qint32 { Text = 0, Image = 1, Shape = 2, Video = 8 };

    QString name;  // the editor's name for the item inside one clip
    qint32 kind = Text;
    QString content;  // a text item's text
    QString resource;
    double begin = 0.0;  // where the item starts and ends, as fractions of the preset's duration
    double end = 1.0;
    double firstFraction = 0.0;   // the fade-in, as a fraction of the item's length
    double secondFraction = 0.0;  // the fade-out, likewise
    Types::Transform transform;
    Transformation::Envelope envelope;

    void setTransform(const Types::Transform& value) { transform = value; }
    void setEnvelope(const Transformation::Envelope& value) { envelope = value; }

    static std::string staticTypeName() { return "Overlay::Item"; }
    std::string typeName() const override { return staticTypeName(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<Item>(*this);
    }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

// A title, callout or sticker: items that play together over `duration` milliseconds. Presets and
// items are value types that own their items and envelopes; reading one throws Serialize::Error
// for a malformed archive.
class Preset : public virtual Serialize::ISerializable, public virtual PubSub::Object {
public:
    // What kind of overlay the preset is; Unknown for none of them.
    enum Kind : qint32 { Unknown = 0, Title = 1, Callout = 2, Sticker = 3 };

    qint32 kind = Unknown;
    QString name;
    qint64 duration = 0;
    std::vector<Item> items;

    void appendItem(const Item& item) { items.push_back(item); }
    void appendItem(Item&& item) { items.push_back(std::move(item)); }

    static std::string staticTypeName() { return "Overlay::Preset"; }
    std::string typeName() const override { return staticTypeName(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<Preset>(*this);
    }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

}  // namespace Overlay
