#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <functional>
#include <memory>

#include "package/extractor/persistent_item_helper.h"
#include "platform/bundle/store_item.h"
#include "platform/collection/collection_service.h"
#include "platform/model/effect_object.h"
#include "platform/model/import_object.h"
#include "platform/pubsub/dispatcher.h"

namespace {

using PubSub::Details::Dispatcher;
using Request = EditorCollection::LoadPersistentItemRequest<Effect::Object>;
using Notification = EditorCollection::LoadPersistentItemNotification<Effect::Object>;

struct Ping {
    int value = 0;
};
struct Pong {};

// Records what it receives and then runs `onMessage`, which may change the subscriptions.
struct Listener : PubSub::Details::Subscriber<Ping> {
    std::vector<int> received;
    std::function<void()> onMessage;
    Listener() { subscribe(); }
    ~Listener() override { unsubscribe(); }
    void handle(const Ping& ping) override {
        received.push_back(ping.value);
        if (onMessage)
            onMessage();
    }
};

}  // namespace

TEST(Dispatcher, DeliversInOrderToLiveSubscribersOnly) {
    Dispatcher& dispatcher = Dispatcher::instance();
    Listener first, second;
    auto third = std::make_unique<Listener>();
    EXPECT_EQ(dispatcher.getSubscribers<Ping>(),
              (std::vector<PubSub::Details::Subscriber<Ping>*>{&first, &second, third.get()}));
    EXPECT_TRUE(dispatcher.getSubscribers<Pong>().empty());

    // The first unsubscribes itself and destroys the third while handling; both take effect at
    // once, within the same publish.
    first.onMessage = [&] {
        first.unsubscribe();
        third.reset();
    };
    dispatcher.publish(Ping{1});
    dispatcher.publish(Ping{2});
    EXPECT_EQ(first.received, std::vector<int>{1});
    EXPECT_EQ(second.received, (std::vector<int>{1, 2}));
    EXPECT_FALSE(first.isSubscribed());
    EXPECT_EQ(dispatcher.getSubscribers<Ping>().size(), 1u);

    dispatcher.send<Ping>(&first, Ping{3});  // no longer listening
    first.subscribe();
    first.subscribe();
    first.onMessage = nullptr;
    dispatcher.send<Ping>(&first, Ping{4});
    EXPECT_EQ(first.received, (std::vector<int>{1, 4}));
    EXPECT_EQ(dispatcher.getSubscribers<Ping>().size(), 2u);
}

TEST(CollectionService, AnswersWhileItLivesAndOnlyWithTheRequestedType) {
    QTemporaryDir dir;
    Effect::Object effect("lut", "colour");
    EditorCollection::PersistentItem<Effect::Object> record;
    record.uniqueId = "u1";
    record.item = &effect;
    ASSERT_TRUE(Bundle::storeItem(dir.path(), record));

    // The test program's own service answers; a stored effect is no import.
    const EditorCollection::PersistentItemHelper<Effect::Object> loaded(dir.path());
    ASSERT_EQ(loaded.items().size(), 1u);
    EXPECT_EQ(loaded.items()[0].uniqueId, "u1");
    EXPECT_TRUE(EditorCollection::PersistentItemHelper<Import::Object>(dir.path()).items().empty());

    // A request for another unique id gets no answer.
    struct Requester : PubSub::Details::Subscriber<Notification> {
        int answers = 0;
        void handle(const Notification&) override { ++answers; }
    } requester;
    requester.subscribe();
    Dispatcher::instance().publish(Request(dir.path(), "u1", &requester));
    Dispatcher::instance().publish(Request(dir.path(), "u2", &requester));
    requester.unsubscribe();
    EXPECT_EQ(requester.answers, 1);

    auto second = std::make_unique<EditorCollection::CollectionService>();
    {
        const EditorCollection::PersistentItemHelper<Effect::Object> helper(dir.path());
        ASSERT_EQ(helper.items().size(), 2u);
        // Each answer's item stays alive with the helper, after the services let it go.
        EXPECT_NE(helper.items()[0].item, helper.items()[1].item);
        EXPECT_EQ(helper.items()[1].item->id, "lut");
    }
    second.reset();
    EXPECT_EQ(EditorCollection::PersistentItemHelper<Effect::Object>(dir.path()).items().size(),
              1u);
}
