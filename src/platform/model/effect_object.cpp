#include "platform/model/effect_object.h"

#include "platform/model/persistent_item.h"
#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"
#include "platform/serialize/type_registry.h"

namespace Effect {

static const Serialize::RegisterType<Object> registerObject("Effect::Object");
static const Serialize::RegisterType<EditorCollection::PersistentItem<Object>> registerItem(
    "EditorCollection::PersistentItem<Effect::Object>");

void Object::Serialize(Serialize::ISerializer& s) const {
    s.write("title", title);
    s.write("description", description);
    s.write("id", id);
    s.write("group", group);
}

void Object::Deserialize(Serialize::IDeserializer& d) {
    d.read("title", title);
    d.read("description", description);
    d.read("id", id);
    d.read("group", group);
}

}  // namespace Effect
