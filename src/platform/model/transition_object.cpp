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
    s.write("maskMode", maskMode);
    s.write("overlayMode", overlayMode);
    s.key("resources");
    s.beginArray(qint64(resources.size()));
    for (const ResourceReference& reference : resources) {
        s.beginElement();
        s.write("kind", reference.kind);
        s.write("id", reference.id);
        s.endElement();
    }
    s.endArray();
}

void Object::Deserialize(Serialize::IDeserializer& d) {
    d.read("title", title);
    d.read("description", description);
    d.read("id", id);
    d.read("maskMode", maskMode);
    d.read("overlayMode", overlayMode);
    resources.clear();
    d.key("resources");
    const qint64 count = d.beginArray();
    for (qint64 i = 0; i < count; ++i) {
        d.beginElement();
        ResourceReference reference;
        d.read("kind", reference.kind);
        d.read("id", reference.id);
        resources.push_back(reference);
        d.endElement();
    }
    d.endArray();
}

}  // namespace Transition
