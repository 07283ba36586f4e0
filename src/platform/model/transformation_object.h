#pragma once

#include "platform/serialize/serializable.h"

namespace Transformation {

// How an overlay item or a clip is placed at one moment: its position in the scene (as fractions of
// the scene's width and height, 0.5 being the centre), its scale, its rotation in degrees and its
// opacity. Animation envelopes interpolate between such values. A value type; reading one throws
// Serialize::Error for a malformed archive.
class Object : public Serialize::ISerializable {
public:
    double x = 0.5;
    double y = 0.5;
    double scaleX = 1.0;
    double scaleY = 1.0;
    double rotation = 0.0;
    double opacity = 1.0;

    static std::string staticTypeName() { return "Transformation::Object"; }
    std::string typeName() const override { return staticTypeName(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<Object>(*this);
    }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;

    friend bool operator==(const Object& a, const Object& b);
    friend bool operator!=(const Object& a, const Object& b) { return !(a == b); }
};

}  // namespace Transformation
