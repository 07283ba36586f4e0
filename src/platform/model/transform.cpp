#include "platform/model/transform.h"

#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"
#include "platform/serialize/type_registry.h"

namespace Types {
namespace {

const Serialize::RegisterType<Transform> registerTransform("Types::Transform");

const char* const keys[9] = {"m11", "m12", "m13", "m21", "m22", "m23", "m31", "m32", "m33"};

}  // namespace

Transform::Transform(double m11, double m12, double m13, double m21, double m22, double m23,
                     double m31, double m32, double m33)
    : m_values{m11, m12, m13, m21, m22, m23, m31, m32, m33} {}

QTransform Transform::toQTransform() const {
    const auto& m = m_values;
    return QTransform(m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8]);
}

Transform Transform::fromQTransform(const QTransform& t) {
    return Transform(t.m11(), t.m12(), t.m13(), t.m21(), t.m22(), t.m23(), t.m31(), t.m32(),
                     t.m33());
}

void Transform::Serialize(Serialize::ISerializer& s) const {
    for (int i = 0; i < 9; ++i)
        s.write(QLatin1String(keys[i]), m_values[i]);
}

void Transform::Deserialize(Serialize::IDeserializer& d) {
    for (int i = 0; i < 9; ++i)
        d.read(QLatin1String(keys[i]), m_values[i]);
}

}  // namespace Types
