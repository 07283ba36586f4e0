#pragma once

#include <QString>
#include <deque>
#include <memory>
#include <vector>

#include "platform/collection/load_persistent_item_request.h"
#include "platform/collection/no_collection_service_error.h"
#include "platform/pubsub/dispatcher.h"

namespace EditorCollection {

// Loads the persistent items of type T stored in one item folder, through whatever collection
// service answers LoadPersistentItemRequest<T> in this process (see CollectionService).
//
// Construction does the whole exchange: the helper subscribes itself for the answers, sends one
// request with the folder (and an empty unique id) to every subscriber of the request type,
// collects the answers in arrival order, and unsubscribes. With no readable item, items() is
// empty. With no service at all, the constructor throws EditorCollection::NoCollectionServiceError
// naming the item type and the folder; it lets through what the service throws for a program
// without a QGuiApplication (Types::NoGuiApplicationError).
//
// The helper owns what it loaded: each record's `item` lives in storage that the helper shares
// with the answer, so the records (and copies of them) stay valid as long as the helper lives.
// Not copyable or movable, as it was known to the dispatcher by address.
template <class T>
class PersistentItemHelper
    : private PubSub::Details::Subscriber<LoadPersistentItemNotification<T>> {
public:
    using Request = LoadPersistentItemRequest<T>;
    using Notification = LoadPersistentItemNotification<T>;

    explicit PersistentItemHelper(const QString& folder) {
        auto& dispatcher = PubSub::Details::Dispatcher::instance();
        const auto answerers = dispatcher.getSubscribers<Request>();
        if (answerers.empty())
            throw NoCollectionServiceError(QString::fromStdString(T::staticTypeName()), folder);
        this->subscribe();
        const Request request(folder, QString(), this);
        for (PubSub::Details::Subscriber<Request>* answerer : answerers)
            dispatcher.send(answerer, request);
        this->unsubscribe();
    }

    ~PersistentItemHelper() override { this->unsubscribe(); }

    const std::deque<PersistentItem<T>>& items() const { return m_items; }

private:
    void handle(const Notification& notification) override {
        m_storages.push_back(notification.storage());
        m_items.push_back(notification.item());
    }

    std::deque<PersistentItem<T>> m_items;
    std::vector<std::shared_ptr<Serialize::ObjectStorage>> m_storages;
};

}  // namespace EditorCollection
