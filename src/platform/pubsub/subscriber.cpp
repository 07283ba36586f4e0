#include "platform/pubsub/subscriber.h"

#include "platform/pubsub/dispatcher.h"

namespace PubSub::Details {

SubscriberBase::SubscriberBase(std::type_index messageType, const void* identity)
    : m_messageType(messageType), m_identity(identity) {}

SubscriberBase::~SubscriberBase() {
    unsubscribe();
}

void SubscriberBase::subscribe() {
    Dispatcher::instance().add(this);
}

void SubscriberBase::unsubscribe() {
    Dispatcher::instance().remove(this);
}

bool SubscriberBase::isSubscribed() const {
    return Dispatcher::instance().isSubscribed(m_messageType, m_identity);
}

}  // namespace PubSub::Details
