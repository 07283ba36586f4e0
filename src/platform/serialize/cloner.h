#pragma once

#include "platform/serialize/object_storage.h"
#include "platform/serialize/serializable.h"

namespace Serialize {

// Deep-copies objects through their own serialization, so a clone shares nothing with its source.
class Cloner {
public:
    // Returns a clone owned by `storage`, or null for a null source.
    ISerializable* cloneImpl(const ISerializable* source, ObjectStorage& storage) const;

    template <class T>
    T* clone(const T* source, ObjectStorage& storage) const {
        return dynamic_cast<T*>(cloneImpl(source, storage));
    }
};

}  // namespace Serialize
