#pragma once

#include <map>
#include <mutex>
#include <typeindex>
#include <typeinfo>
#include <vector>

#include "platform/pubsub/subscriber.h"

namespace PubSub::Details {

// The process-wide, in-process message hub. Subscribers register themselves by message type;
// publishing delivers a message synchronously, on the publishing thread, to every subscriber of
// its type in subscription order.
//
// One recursive lock guards the registry and is held while a message is handled, so a handler may
// publish, reply, subscribe or unsubscribe (itself included), and a subscriber destroyed on another
// thread waits until the handling in progress has finished.
class Dispatcher {
public:
    // The one dispatcher. It is never destroyed, so subscribers that outlive static destruction
    // order can still unsubscribe.
    static Dispatcher& instance();

    Dispatcher(const Dispatcher&) = delete;
    Dispatcher& operator=(const Dispatcher&) = delete;

    // The subscribers of Message at the time of the call, in subscription order. The pointers are
    // not owned; hand them to send(), which checks that they are still subscribed.
    template <class Message>
    std::vector<Subscriber<Message>*> getSubscribers() const {
        std::vector<Subscriber<Message>*> result;
        std::lock_guard<std::recursive_mutex> lock(m_mutex);
        for (SubscriberBase* subscriber : subscribersOf(typeid(Message)))
            result.push_back(static_cast<Subscriber<Message>*>(subscriber));
        return result;
    }

    // Delivers the message to one subscriber, if it is (still) subscribed; otherwise does nothing.
    template <class Message>
    void send(Subscriber<Message>* subscriber, const Message& message) {
        std::lock_guard<std::recursive_mutex> lock(m_mutex);
        if (isSubscribed(typeid(Message), static_cast<const void*>(subscriber)))
            subscriber->handle(message);
    }

    // Delivers the message to every subscriber of its type. One that unsubscribes while an earlier
    // one handles the message is skipped.
    template <class Message>
    void publish(const Message& message) {
        std::lock_guard<std::recursive_mutex> lock(m_mutex);
        for (Subscriber<Message>* subscriber : getSubscribers<Message>())
            send(subscriber, message);
    }

private:
    friend class SubscriberBase;

    Dispatcher() = default;

    void add(SubscriberBase* subscriber);
    void remove(SubscriberBase* subscriber);
    bool isSubscribed(std::type_index messageType, const void* identity) const;
    std::vector<SubscriberBase*> subscribersOf(std::type_index messageType) const;

    mutable std::recursive_mutex m_mutex;
    std::map<std::type_index, std::vector<SubscriberBase*>> m_subscribers;
};

}  // namespace PubSub::Details
