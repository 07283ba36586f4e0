#pragma once

#include <memory>
#include <string>

namespace Serialize {

class ISerializer;
class IDeserializer;

// An object that the serialization library can write and read back. Its type name is written with
// it and selects the factory that recreates it on reading (see TypeRegistry). Deserialize() throws
// Serialize::Error for an archive that does not hold what the type expects.
class ISerializable {
public:
    virtual ~ISerializable() = default;

    virtual std::string typeName() const = 0;
    virtual void Serialize(ISerializer& serializer) const = 0;
    virtual void Deserialize(IDeserializer& deserializer) = 0;

    // A deep copy made without the archive, by the types whose copy constructor shares nothing
    // with its source; null (the default) for the others, which Serialize::Cloner copies through
    // their serialization. A copy must be of the same type, so every subclass of a type that
    // overrides this overrides it too (the cloner falls back to the serialization otherwise).
    virtual std::unique_ptr<ISerializable> deepCopy() const { return nullptr; }

protected:
    ISerializable() = default;
    ISerializable(const ISerializable&) = default;
    ISerializable& operator=(const ISerializable&) = default;
};

}  // namespace Serialize
