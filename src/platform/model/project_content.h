#pragma once

#include "platform/serialize/serializable.h"

namespace Project {

// What a project file holds: the project's main object, a Timeline::Object for the editor's
// projects. The content does not own it: a writer reads it from its owner, and a reader keeps what
// it read in its own storage. Reading one throws Serialize::Error for a malformed archive.
class Content : public Serialize::ISerializable {
public:
    Serialize::ISerializable* projectObject = nullptr;

    static std::string staticTypeName() { return "Project::Content"; }
    std::string typeName() const override { return staticTypeName(); }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

}  // namespace Project
