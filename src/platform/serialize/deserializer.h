#pragma once

#include <QString>
#include <memory>

#include "platform/serialize/content_receiver.h"
#include "platform/serialize/node.h"
#include "platform/serialize/object_storage.h"
#include "platform/serialize/serializable.h"
#include "platform/serialize/type_registry.h"

namespace Serialize {

// Reads objects back in the order in which they were written: an object names the key that it
// expects next and reads its value with the operation for the type it expects. A key that is not
// the next one, a value of another type, an unknown type name or a value left unread raises
// Serialize::Error naming the archive, the line and the key.
class IDeserializer {
public:
    virtual ~IDeserializer() = default;

    // Makes a deserializer over a parsed archive. `source` resolves images and blobs; `storage`
    // takes objects that records keep by plain pointer (see adoptObject). All must outlive it.
    static std::unique_ptr<IDeserializer> MakeDeserializer(
        const Node& root, IContentSource& source, ObjectStorage& storage, const QString& sourceName,
        const TypeRegistry& registry = TypeRegistry::global());

    // Reads the root into an existing object whose type name must match the archive's.
    virtual void deserialize(ISerializable& root) = 0;
    // Creates the root object through the registry; null for a null root.
    virtual std::unique_ptr<ISerializable> deserialize() = 0;

    virtual void key(const QString& name) = 0;
    virtual bool readBool() = 0;
    virtual qint32 readInt32() = 0;
    virtual qint64 readInt64() = 0;
    virtual double readDouble() = 0;
    virtual QString readString() = 0;
    virtual Types::Image readImage() = 0;
    virtual QByteArray readBlob() = 0;
    // Creates the object through the type registry and reads it; null for a null object. The
    // caller owns the result.
    virtual std::unique_ptr<ISerializable> readObject() = 0;
    // Reads an object into one that exists already (its type name must match).
    virtual void readObjectInto(ISerializable& object) = 0;
    virtual void beginSection() = 0;
    virtual void endSection() = 0;
    // Returns the element count (always the number of elements that follow).
    virtual qint64 beginArray() = 0;
    virtual void beginElement() = 0;
    virtual void endElement() = 0;
    virtual void endArray() = 0;

    // The storage for objects that the reading record keeps by plain pointer.
    virtual ObjectStorage& storage() = 0;
    // Raises Serialize::Error at the current place with the given message.
    [[noreturn]] virtual void fail(const QString& what) = 0;

    // Reads an object that the storage will own; null for a null object.
    ISerializable* adoptObject() { return storage().adopt(readObject()); }

    // Reads an object that must be a T (or null); `expected` names T in the error otherwise.
    template <class T>
    std::unique_ptr<T> readObjectAs(const QString& expected) {
        std::unique_ptr<ISerializable> object = readObject();
        if (!object)
            return nullptr;
        T* typed = dynamic_cast<T*>(object.get());
        if (!typed)
            fail(QStringLiteral("expected %1, found a %2")
                     .arg(expected, QString::fromStdString(object->typeName())));
        object.release();
        return std::unique_ptr<T>(typed);
    }

    void read(const QString& name, bool& value) { key(name), value = readBool(); }
    void read(const QString& name, qint32& value) { key(name), value = readInt32(); }
    void read(const QString& name, qint64& value) { key(name), value = readInt64(); }
    void read(const QString& name, double& value) { key(name), value = readDouble(); }
    void read(const QString& name, QString& value) { key(name), value = readString(); }
    void read(const QString& name, Types::Image& value) { key(name), value = readImage(); }
};

// Content source for archives that hold no images or blobs: every request fails.
class NoContentSource : public IContentSource {
public:
    Types::Image GetImage(const QString& name) override;
    QByteArray GetBlob(const QString& name) override;
};

}  // namespace Serialize
