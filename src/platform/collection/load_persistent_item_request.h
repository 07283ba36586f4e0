#pragma once

#include <QString>
#include <memory>
#include <utility>

#include "platform/model/persistent_item.h"
#include "platform/pubsub/dispatcher.h"
#include "platform/serialize/object_storage.h"

namespace EditorCollection {

// One persistent item that the collection loaded, sent back to the party that asked for it.
//
// The record does not own its item: the item lives in `storage()`, which the notification shares.
// Whoever keeps the record must keep the storage too (PersistentItemHelper does).
template <class T>
class LoadPersistentItemNotification {
public:
    LoadPersistentItemNotification(PersistentItem<T> item,
                                   std::shared_ptr<Serialize::ObjectStorage> storage)
        : m_item(std::move(item)), m_storage(std::move(storage)) {}

    const PersistentItem<T>& item() const { return m_item; }
    std::shared_ptr<Serialize::ObjectStorage> storage() const { return m_storage; }

private:
    PersistentItem<T> m_item;
    std::shared_ptr<Serialize::ObjectStorage> m_storage;
};

// Asks the collection for the persistent items stored in one item folder. The answerer sends each
// loaded item back with reply(), which reaches only the requester, and only while it is subscribed.
template <class T>
class LoadPersistentItemRequest {
public:
    using Notification = LoadPersistentItemNotification<T>;
    using Requester = PubSub::Details::Subscriber<Notification>;

    // `uniqueId` empty asks for every item of the folder; otherwise only for the item of that id.
    // The requester is not owned.
    LoadPersistentItemRequest(const QString& folder, const QString& uniqueId, Requester* requester)
        : m_folder(folder), m_uniqueId(uniqueId), m_requester(requester) {}

    QString folder() const { return m_folder; }
    QString uniqueId() const { return m_uniqueId; }

    void reply(const Notification& notification) const {
        PubSub::Details::Dispatcher::instance().send(m_requester, notification);
    }

private:
    QString m_folder;
    QString m_uniqueId;
    Requester* m_requester;
};

}  // namespace EditorCollection
