#pragma once

#include <QString>

#include "platform/model/effect_object.h"
#include "platform/model/transform.h"

namespace Effect {

// An effect that processes the picture. Adds the intensity at which it applies; effects that
// honour it say so through isIntensityAdjustable(). Effects are value types; reading one throws
// Serialize::Error for a malformed archive.
class VideoEffect : public Object {
public:
    VideoEffect() = default;
    VideoEffect(const QString& id, const QString& group) : Object(id, group) {}

    double intensity = 0.0;

    virtual bool isIntensityAdjustable() const { return false; }

    static std::string staticTypeName() { return "Effect::VideoEffect"; }
    std::string typeName() const override { return staticTypeName(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<VideoEffect>(*this);
    }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

// A colour look-up-table effect. `lutResource` is the id of the package resource that holds the
// LUT file (empty when the effect has none).
class Lut : public VideoEffect {
public:
    Lut() : VideoEffect(Id::Lut, Group::GroupColor) {}

    QString lutResource;

    static std::string staticTypeName() { return "Effect::Lut"; }
    std::string typeName() const override { return staticTypeName(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<Lut>(*this);
    }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

// Places a clip's picture inside the scene: `transform` is given in the unit square, the identity
// filling the whole scene.
class PictureInPicture : public VideoEffect {
public:
    PictureInPicture() : VideoEffect(Id::PictureInPicture, Group::GroupPip) {}

    Types::Transform transform;

    static std::string staticTypeName() { return "Effect::PictureInPicture"; }
    std::string typeName() const override { return staticTypeName(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<PictureInPicture>(*this);
    }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

}  // namespace Effect
