#include "platform/serialize/type_registry.h"

namespace Serialize {

TypeRegistry& TypeRegistry::global() {
    static TypeRegistry registry;
    return registry;
}

void TypeRegistry::add(const std::string& typeName, Factory factory) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_factories[typeName] = std::move(factory);
}

std::unique_ptr<ISerializable> TypeRegistry::create(const std::string& typeName) const {
    Factory factory;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto it = m_factories.find(typeName);
        if (it == m_factories.end())
            return nullptr;
        factory = it->second;
    }
    return factory();
}

bool TypeRegistry::contains(const std::string& typeName) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_factories.count(typeName) != 0;
}

std::vector<std::string> TypeRegistry::typeNames() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> names;
    for (const auto& entry : m_factories)
        names.push_back(entry.first);
    return names;
}

}  // namespace Serialize
