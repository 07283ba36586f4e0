#include "platform/serialize/cloner.h"

#include "platform/serialize/archive.h"

namespace Serialize {

ISerializable* Cloner::cloneImpl(const ISerializable* source, ObjectStorage& storage) const {
    if (!source)
        return nullptr;
    MemoryContent content;
    const QByteArray data = writeArchive(*source, content);
    return storage.adopt(readArchive(data, QStringLiteral("clone"), content, storage));
}

}  // namespace Serialize
