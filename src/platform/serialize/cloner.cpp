#include "platform/serialize/cloner.h"

#include <limits>
#include <stdexcept>

#include "platform/serialize/archive.h"

namespace Serialize {

std::unique_ptr<ISerializable> Cloner::ownCopy(const ISerializable& source) {
    std::unique_ptr<ISerializable> copy = source.deepCopy();
    // A subclass that did not override deepCopy() would be sliced to its base: not a copy.
    if (copy && copy->typeName() != source.typeName())
        return nullptr;
    return copy;
}

std::unique_ptr<ISerializable> Cloner::archiveCopy(const ISerializable& source,
                                                   ObjectStorage& storage) {
    MemoryContent content;
    const QByteArray data = writeArchive(source, content);
    // What we wrote ourselves needs no protection; only the serializer's own depth bound holds.
    ParseLimits limits;
    limits.maxDepth = std::numeric_limits<int>::max();
    limits.maxNodes = std::numeric_limits<qint64>::max();
    return readArchive(data, QStringLiteral("clone"), content, storage, limits);
}

ISerializable* Cloner::cloneImpl(const ISerializable* source, ObjectStorage& storage) const {
    if (!source)
        return nullptr;
    std::unique_ptr<ISerializable> copy = ownCopy(*source);
    if (!copy)
        copy = archiveCopy(*source, storage);
    return storage.adopt(std::move(copy));
}

std::unique_ptr<ISerializable> Cloner::cloneOwned(const ISerializable* source) const {
    if (!source)
        return nullptr;
    if (std::unique_ptr<ISerializable> copy = ownCopy(*source))
        return copy;
    ObjectStorage parts;
    std::unique_ptr<ISerializable> clone = archiveCopy(*source, parts);
    if (!parts.empty())
        throw std::logic_error("cloneOwned: a " + source->typeName() +
                               " keeps parts in a storage; clone it with cloneImpl");
    return clone;
}

}  // namespace Serialize
