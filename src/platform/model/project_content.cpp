#include "platform/model/project_content.h"

#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"
#include "platform/serialize/type_registry.h"

namespace Project {

static const Serialize::RegisterType<Content> registerContent("Project::Content");

void Content::Serialize(Serialize::ISerializer& s) const {
    s.write("projectObject", projectObject);
}

// The object read goes to the deserializer's storage, which the reader keeps.
void Content::Deserialize(Serialize::IDeserializer& d) {
    d.key("projectObject");
    projectObject = d.adoptObject();
}

}  // namespace Project
