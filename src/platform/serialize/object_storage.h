#pragma once

#include <memory>
#include <vector>

#include "platform/serialize/serializable.h"

namespace Serialize {

// Owns the objects that reading or cloning creates, for as long as the storage lives. Records keep
// plain pointers into it. Move-only: moving hands the objects over, pointers stay valid.
class ObjectStorage {
public:
    ObjectStorage() = default;
    ObjectStorage(ObjectStorage&&) = default;
    ObjectStorage& operator=(ObjectStorage&&) = default;
    ObjectStorage(const ObjectStorage&) = delete;
    ObjectStorage& operator=(const ObjectStorage&) = delete;

    // Takes ownership and returns the plain pointer (null stays null).
    template <class T>
    T* adopt(std::unique_ptr<T> object) {
        T* raw = object.get();
        if (raw)
            m_objects.emplace_back(std::move(object));
        return raw;
    }

    bool empty() const { return m_objects.empty(); }
    size_t size() const { return m_objects.size(); }

private:
    std::vector<std::unique_ptr<ISerializable>> m_objects;
};

}  // namespace Serialize
