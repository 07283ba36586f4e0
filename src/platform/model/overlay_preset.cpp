#include "platform/model/overlay_preset.h"

#include "platform/model/persistent_item.h"
#include "platform/serialize/collections.h"
#include "platform/serialize/type_registry.h"

namespace Overlay {

static const Serialize::RegisterType<Item> registerItem("Overlay::Item");
static const Serialize::RegisterType<Preset> registerPreset("Overlay::Preset");
static const Serialize::RegisterType<EditorCollection::PersistentItem<Preset>> registerStored(
    "EditorCollection::PersistentItem<Overlay::Preset>");

void Item::Serialize(Serialize::ISerializer& s) const {
    s.write("name", name);
    s.write("kind", kind);
    s.write("content", content);
    s.write("resource", resource);
    s.write("begin", begin);
    s.write("end", end);
    s.write("firstFraction", firstFraction);
    s.write("secondFraction", secondFraction);
    s.write("transform", &transform);
    s.write("envelope", &envelope);
}

void Item::Deserialize(Serialize::IDeserializer& d) {
    d.read("name", name);
    d.read("kind", kind);
    d.read("content", content);
    d.read("resource", resource);
    d.read("begin", begin);
    d.read("end", end);
    d.read("firstFraction", firstFraction);
    d.read("secondFraction", secondFraction);
    d.key("transform");
    d.readObjectInto(transform);
    d.key("envelope");
    d.readObjectInto(envelope);
}

void Preset::Serialize(Serialize::ISerializer& s) const {
    s.write("kind", kind);
    s.write("name", name);
    s.write("duration", duration);
    Serialize::writeObjectArray(s, "items", items);
}

void Preset::Deserialize(Serialize::IDeserializer& d) {
    d.read("kind", kind);
    d.read("name", name);
    d.read("duration", duration);
    Serialize::readObjectArray(d, "items", items);
}

}  // namespace Overlay
