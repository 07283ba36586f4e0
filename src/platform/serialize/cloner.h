#pragma once

#include <memory>

#include "platform/serialize/object_storage.h"
#include "platform/serialize/serializable.h"

namespace Serialize {

// Deep-copies objects through their own serialization, so a clone shares nothing with its source.
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
};

}  // namespace Serialize
