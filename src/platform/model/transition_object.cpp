#include "platform/model/transition_object.h"

#include "platform/model/persistent_item.h"
#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"
#include "platform/serialize/type_registry.h"

namespace Transition {

static const Serialize::RegisterType<Object> registerObject("Transition::Object");
static const Serialize::RegisterType<EditorCollection::PersistentItem<Object>> registerItem(
    "EditorCollection::PersistentItem<Transition::Object>");

void Object::Serialize(Serialize::ISerializer& s) const {
    s.write("title", title);
    s.write("description", description);
    s.write("id", id);
}

void Object::Deserialize(Serialize::IDeserializer& d) {
    d.read("title", title);
    d.read("description", description);
    d.read("id", id);
}

}  // namespace Transition
