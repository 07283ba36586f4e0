#pragma once

#include <QString>

#include "platform/model/persistent_item.h"
#include "platform/serialize/object_storage.h"

namespace Bundle {

// The archive of a stored item inside its folder; its images lie beside it, the first named
// "preview.png".
inline const QString itemFileName = QStringLiteral("item.xml");

// Writes `object` as "item.xml" (and its images) into `folder`, creating the folder. Returns false
// when the folder cannot be created or a name is refused; serialization errors are thrown, and so
// is FS::Error when a file cannot be written (a full disk must not yield a package without it).
bool storeArchive(const QString& folder, const Serialize::ISerializable& object);

// Reads "item.xml" of `folder` into `object`; created sub-objects go to `storage`. Throws
// std::bad_cast when the archive holds another type of record than `object` (or a null one),
// Serialize::Error (or Bundle::Error when the file cannot be read) naming the file otherwise.
void loadArchive(const QString& folder, Serialize::ISerializable& object,
                 Serialize::ObjectStorage& storage);

// Stores a persistent item into the folder `path`.
template <class T>
bool storeItem(const QString& path, const EditorCollection::PersistentItem<T>* item) {
    return item && storeArchive(path, *item);
}

template <class T>
bool storeItem(const QString& path, const EditorCollection::PersistentItem<T>& item) {
    return storeArchive(path, item);
}

// Loads the persistent item stored in the folder `path`. Its item lives in `storage`. Throws
// std::bad_cast when the stored record is not a T's: another record type, or a T record whose
// item is not a T.
template <class T>
EditorCollection::PersistentItem<T> loadItem(const QString& path,
                                             Serialize::ObjectStorage& storage) {
    EditorCollection::PersistentItem<T> record;
    loadArchive(path, record, storage);
    return record;
}

}  // namespace Bundle
