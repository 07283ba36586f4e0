#pragma once

#include <memory>

namespace EditorCollection {

// The editor's collection, as far as loading stored items goes: while an instance lives it answers
// every LoadPersistentItemRequest<T> for T = Effect::Object, Transition::Object, Import::Object and
// Overlay::Preset by reading the "item.xml" of the requested folder, and replies with one
// LoadPersistentItemNotification<T> when that file holds a readable T. A missing, malformed or
// foreign item file gets no reply. Destroying the instance stops the answering. It owns its
// subscribers; each answer owns the storage of the item it carries.
//
// Answering throws only Types::NoGuiApplicationError, when the program has no QGuiApplication: no
// item could be read then, and that is the program's fault, not the item's.
//
// Programs create one, after their QGuiApplication (stored previews are pixmaps). Two instances
// would answer every request twice.
class CollectionService {
public:
    CollectionService();
    ~CollectionService();
    CollectionService(const CollectionService&) = delete;
    CollectionService& operator=(const CollectionService&) = delete;

private:
    struct Loaders;
    std::unique_ptr<Loaders> m_loaders;
};

}  // namespace EditorCollection
