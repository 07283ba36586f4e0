#pragma once

#include <typeindex>
#include <typeinfo>

#include "platform/pubsub/pubsub_object.h"

namespace PubSub::Details {

class Dispatcher;

// A party that listens for one message type. It receives messages only while subscribed; one
// that is destroyed while subscribed unsubscribes itself. Not copyable: the dispatcher knows its
// subscribers by address, and never owns them.
class SubscriberBase : public virtual PubSub::Object {
public:
    ~SubscriberBase() override;
    SubscriberBase(const SubscriberBase&) = delete;
    SubscriberBase& operator=(const SubscriberBase&) = delete;

    // Starts receiving messages of messageType(). Subscribing twice changes nothing.
    void subscribe();
    // Stops receiving them; allowed while handling a message, and when not subscribed.
    void unsubscribe();
    bool isSubscribed() const;

    std::type_index messageType() const { return m_messageType; }

protected:
    // `identity` is the address of the typed subscriber, so that a send to a subscriber that has
    // gone away can be recognised without touching it.
    SubscriberBase(std::type_index messageType, const void* identity);

private:
    friend class Dispatcher;

    const std::type_index m_messageType;
    const void* const m_identity;
};

// A subscriber of messages of type Message.
//
// handle() runs on the publishing thread while the dispatcher is locked, so it must not wait for
// another thread that publishes. A derived class whose handle() uses its own members unsubscribes
// in its own destructor: by the time this base unsubscribes, those members are gone.
template <class Message>
class Subscriber : public SubscriberBase {
protected:
    Subscriber() : SubscriberBase(typeid(Message), this) {}

    virtual void handle(const Message& message) = 0;

private:
    friend class Dispatcher;
};

}  // namespace PubSub::Details
