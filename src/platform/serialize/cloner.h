#pragma once

#include <memory>

#include "platform/serialize/object_storage.h"
#include "platform/serialize/serializable.h"

namespace Serialize {

// Deep-copies objects, so a clone shares nothing with its source: through the object's own
// deepCopy() where its type offers one, otherwise through its serialization. A clone is not input
// from outside, so it is not bounded by the limits that reading an archive applies (depth, number
// of values). Throws what copying or serializing the object throws (std::bad_alloc,
// Serialize::Error).
class Cloner {
public:
    // Returns a clone owned by `storage`, or null for a null source.
    ISerializable* cloneImpl(const ISerializable* source, ObjectStorage& storage) const;

    // Returns a clone that the caller owns, or null for a null source. Only for types whose parts
    // are all values (nothing of the clone may need a storage); throws std::logic_error otherwise.
    std::unique_ptr<ISerializable> cloneOwned(const ISerializable* source) const;

    template <class T>
    T* clone(const T* source, ObjectStorage& storage) const {
        return dynamic_cast<T*>(cloneImpl(source, storage));
    }

private:
    // The object's own deep copy, or null when its type has none.
    static std::unique_ptr<ISerializable> ownCopy(const ISerializable& source);
    // A copy through the serialization; parts that records keep by pointer go to `storage`.
    static std::unique_ptr<ISerializable> archiveCopy(const ISerializable& source,
                                                      ObjectStorage& storage);
};

}  // namespace Serialize
