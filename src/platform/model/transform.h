#pragma once

#include <QTransform>
#include <array>

#include "platform/serialize/serializable.h"

namespace Types {

// A 3 x 3 affine or projective transform as the editor model stores it, row by row (m11 ... m33,
// the order of QTransform's constructor). The default is the identity. A value type; reading one
// throws Serialize::Error for a malformed archive.
class Transform : public Serialize::ISerializable {
public:
    Transform() = default;
    Transform(double m11, double m12, double m13, double m21, double m22, double m23, double m31,
              double m32, double m33);

    QTransform toQTransform() const;
    static Transform fromQTransform(const QTransform& transform);

    const std::array<double, 9>& values() const { return m_values; }

    static std::string staticTypeName() { return "Types::Transform"; }
    std::string typeName() const override { return staticTypeName(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<Transform>(*this);
    }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;

    friend bool operator==(const Transform& a, const Transform& b) {
        return a.m_values == b.m_values;
    }
    friend bool operator!=(const Transform& a, const Transform& b) { return !(a == b); }

private:
    std::array<double, 9> m_values{1, 0, 0, 0, 1, 0, 0, 0, 1};
};

}  // namespace Types
