#include "platform/model/import_object.h"

#include "platform/model/persistent_item.h"
#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"
#include "platform/serialize/type_registry.h"

namespace Import {

static const Serialize::RegisterType<Object> registerObject("Import::Object");
static const Serialize::RegisterType<EditorCollection::PersistentItem<Object>> registerItem(
    "EditorCollection::PersistentItem<Import::Object>");

void Object::Serialize(Serialize::ISerializer& s) const {
    s.write("category", m_category);
    s.write("title", m_title);
    s.write("description", m_description);
    s.write("kind", m_kind);
    s.write("location", m_location);
    s.write("remoteUrl", m_remoteUrl);
}

void Object::Deserialize(Serialize::IDeserializer& d) {
    d.read("category", m_category);
    d.read("title", m_title);
    d.read("description", m_description);
    d.read("kind", m_kind);
    d.read("location", m_location);
    d.read("remoteUrl", m_remoteUrl);
}

}  // namespace Import
