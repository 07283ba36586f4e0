#include "platform/model/package_object.h"

#include "platform/model/build_clock.h"
#include "platform/serialize/collections.h"
#include "platform/serialize/type_registry.h"

namespace Package {

static const Serialize::RegisterType<Object> registerObject("Package::Object");
static const Serialize::RegisterType<CollectionAddOn> registerAddOn("Package::CollectionAddOn");

void CollectionAddOn::Serialize(Serialize::ISerializer& s) const {
    s.write("path", path);
    Serialize::writeStringMap(s, "categories", categories);
    Serialize::writeObjectArray(s, "resources", resources);
}

void CollectionAddOn::Deserialize(Serialize::IDeserializer& d) {
    d.read("path", path);
    Serialize::readStringMap(d, "categories", categories);
    Serialize::readObjectArray(d, "resources", resources);
}

void Object::Serialize(Serialize::ISerializer& s) const {
    // A reproducible build keeps the building machine's paths out; readers take the folder that
    // they unpack into instead of this one in any case.
    s.write("folder", BuildClock::recordedFolder(folder));
    s.write("name", name);
    Serialize::writeObjectArray(s, "presetAddOns", presetAddOns);
    Serialize::writeObjectArray(s, "transitionAddOns", transitionAddOns);
    Serialize::writeObjectArray(s, "effectAddOns", effectAddOns);
    Serialize::writeObjectArray(s, "importAddOns", importAddOns);
}

void Object::Deserialize(Serialize::IDeserializer& d) {
    d.read("folder", folder);
    d.read("name", name);
    Serialize::readObjectArray(d, "presetAddOns", presetAddOns);
    Serialize::readObjectArray(d, "transitionAddOns", transitionAddOns);
    Serialize::readObjectArray(d, "effectAddOns", effectAddOns);
    Serialize::readObjectArray(d, "importAddOns", importAddOns);
}

}  // namespace Package
