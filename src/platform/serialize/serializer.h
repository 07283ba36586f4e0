#pragma once

#include <QString>
#include <memory>

#include "platform/serialize/formatter.h"
#include "platform/serialize/image.h"
#include "platform/serialize/serializable.h"

namespace Serialize {

// Writes objects through a formatter. An object writes its values one after another: it announces
// a key, then writes the value with the operation for its type (`write` does both). The serializer
// checks the structure as it goes (a key before every value, balanced sections, arrays holding as
// many elements as they announced) and throws Serialize::Error on misuse.
class ISerializer {
public:
    virtual ~ISerializer() = default;

    // Makes a serializer on a formatter that must outlive it.
    static std::unique_ptr<ISerializer> MakeSerializer(IFormatter& formatter);

    // Writes the root object of the archive.
    virtual void serialize(const ISerializable& root) = 0;

    virtual void key(const QString& name) = 0;
    virtual void writeBool(bool value) = 0;
    virtual void writeInt32(qint32 value) = 0;
    virtual void writeInt64(qint64 value) = 0;
    virtual void writeDouble(double value) = 0;
    virtual void writeString(const QString& value) = 0;
    virtual void writeImage(const Types::Image& value) = 0;
    virtual void writeBlob(const QByteArray& value) = 0;
    // Writes the object with its type name, or a null object.
    virtual void writeObject(const ISerializable* object) = 0;
    // A nested record without a type of its own, such as a base class's body.
    virtual void beginSection() = 0;
    virtual void endSection() = 0;
    // An array of `count` numbered elements; each element holds keys like an object.
    virtual void beginArray(qint64 count) = 0;
    virtual void beginElement() = 0;
    virtual void endElement() = 0;
    virtual void endArray() = 0;

    // Key and value in one call.
    void write(const QString& name, bool value) { key(name), writeBool(value); }
    void write(const QString& name, qint32 value) { key(name), writeInt32(value); }
    void write(const QString& name, qint64 value) { key(name), writeInt64(value); }
    void write(const QString& name, double value) { key(name), writeDouble(value); }
    void write(const QString& name, const QString& value) { key(name), writeString(value); }
    void write(const QString& name, const Types::Image& value) { key(name), writeImage(value); }
    void write(const QString& name, const ISerializable* value) { key(name), writeObject(value); }
    void write(const QString& name, const char* value) = delete;  // would silently be a bool
};

// True for a key that the XML format can carry as an element name.
bool isValidKey(const QString& name);

}  // namespace Serialize
