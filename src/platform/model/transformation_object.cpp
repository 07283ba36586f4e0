#include "platform/model/transformation_object.h"

#include <cstring>

#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"
#include "platform/serialize/type_registry.h"

namespace Transformation {

static const Serialize::RegisterType<Object> registerObject("Transformation::Object");

void Object::Serialize(Serialize::ISerializer& s) const {
    s.write("x", x);
    s.write("y", y);
    s.write("scaleX", scaleX);
    s.write("scaleY", scaleY);
    s.write("rotation", rotation);
    s.write("opacity", opacity);
}

void Object::Deserialize(Serialize::IDeserializer& d) {
    d.read("x", x);
    d.read("y", y);
    d.read("scaleX", scaleX);
    d.read("scaleY", scaleY);
    d.read("rotation", rotation);
    d.read("opacity", opacity);
}

// Bitwise, so that a value equals its round trip even when it holds nan.
bool operator==(const Object& a, const Object& b) {
    const double left[] = {a.x, a.y, a.scaleX, a.scaleY, a.rotation, a.opacity};
    const double right[] = {b.x, b.y, b.scaleX, b.scaleY, b.rotation, b.opacity};
    return std::memcmp(left, right, sizeof left) == 0;
}

}  // namespace Transformation
