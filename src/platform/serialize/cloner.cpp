#include "platform/serialize/cloner.h"

#include <stdexcept>

#include "platform/serialize/archive.h"

namespace Serialize {

ISerializable* Cloner::cloneImpl(const ISerializable* source, ObjectStorage& storage) const {
    if (!source)
        return nullptr;
    MemoryContent content;
    const QByteArray data = writeArchive(*source, content);
    return storage.adopt(readArchive(data, QStringLiteral("clone"), content, storage));
}

std::unique_ptr<ISerializable> Cloner::cloneOwned(const ISerializable* source) const {
    if (!source)
        return nullptr;
    MemoryContent content;
    ObjectStorage parts;
    const QByteArray data = writeArchive(*source, content);
    std::unique_ptr<ISerializable> clone =
        readArchive(data, QStringLiteral("clone"), content, parts);
    if (!parts.empty())
        throw std::logic_error("cloneOwned: a " + source->typeName() +
                               " keeps parts in a storage; clone it with cloneImpl");
    return clone;
}

}  // namespace Serialize
