#pragma once

#include <string>

namespace Serialize {

class ISerializer;
class IDeserializer;

// An object that the serialization library can write and read back. Its type name is written with
// it and selects the factory that recreates it on reading (see TypeRegistry).
class ISerializable {
public:
    virtual ~ISerializable() = default;

    virtual std::string typeName() const = 0;
    virtual void Serialize(ISerializer& serializer) const = 0;
    virtual void Deserialize(IDeserializer& deserializer) = 0;

protected:
    ISerializable() = default;
    ISerializable(const ISerializable&) = default;
    ISerializable& operator=(const ISerializable&) = default;
};

}  // namespace Serialize
