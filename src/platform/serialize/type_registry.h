#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/serialize/serializable.h"

namespace Serialize {

// Maps the type names written into archives to factories that recreate the objects on reading.
// Types register themselves from their own source file with a static RegisterType object. Owns the
// factories; thread-safe; throws nothing of its own.
class TypeRegistry {
public:
    using Factory = std::function<std::unique_ptr<ISerializable>()>;

    static TypeRegistry& global();

    // Registers or replaces the factory for a type name.
    void add(const std::string& typeName, Factory factory);
    // A new default object of the named type, or null when the name is unknown.
    std::unique_ptr<ISerializable> create(const std::string& typeName) const;
    bool contains(const std::string& typeName) const;
    std::vector<std::string> typeNames() const;

private:
    mutable std::mutex m_mutex;
    std::map<std::string, Factory> m_factories;
};

template <class T>
struct RegisterType {
    explicit RegisterType(const char* typeName) {
        TypeRegistry::global().add(typeName, [] { return std::make_unique<T>(); });
    }
};

}  // namespace Serialize
