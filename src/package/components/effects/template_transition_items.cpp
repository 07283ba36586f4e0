#include "package/components/effects/template_transition_items.h"

#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"

namespace Transition {
namespace {

void writeBase(Serialize::ISerializer& s, const Object& base) {
    s.key("BaseOfObject");
    s.beginSection();
    base.Object::Serialize(s);
    s.endSection();
}

void readBase(Serialize::IDeserializer& d, Object& base) {
    d.key("BaseOfObject");
    d.beginSection();
    base.Object::Deserialize(d);
    d.endSection();
}

}  // namespace

void MaskTransition::Serialize(Serialize::ISerializer& s) const {
    writeBase(s, *this);
}

void MaskTransition::Deserialize(Serialize::IDeserializer& d) {
    readBase(d, *this);
}

void Overlay::Serialize(Serialize::ISerializer& s) const {
    writeBase(s, *this);
}

void Overlay::Deserialize(Serialize::IDeserializer& d) {
    readBase(d, *this);
}

}  // namespace Transition
