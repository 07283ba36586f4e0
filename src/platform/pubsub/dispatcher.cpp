#include "platform/pubsub/dispatcher.h"

#include <algorithm>

namespace PubSub::Details {

Dispatcher& Dispatcher::instance() {
    static Dispatcher* const dispatcher = new Dispatcher;
    return *dispatcher;
}

void Dispatcher::add(SubscriberBase* subscriber) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    std::vector<SubscriberBase*>& list = m_subscribers[subscriber->messageType()];
    if (std::find(list.begin(), list.end(), subscriber) == list.end())
        list.push_back(subscriber);
}

void Dispatcher::remove(SubscriberBase* subscriber) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const auto it = m_subscribers.find(subscriber->messageType());
    if (it == m_subscribers.end())
        return;
    std::vector<SubscriberBase*>& list = it->second;
    list.erase(std::remove(list.begin(), list.end(), subscriber), list.end());
    if (list.empty())
        m_subscribers.erase(it);
}

bool Dispatcher::isSubscribed(std::type_index messageType, const void* identity) const {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const auto it = m_subscribers.find(messageType);
    if (it == m_subscribers.end())
        return false;
    // Registered subscribers are alive, so reading their identity is safe; `identity` itself may
    // belong to one that is gone and is only compared.
    return std::any_of(it->second.begin(), it->second.end(),
                       [identity](const SubscriberBase* s) { return s->m_identity == identity; });
}

std::vector<SubscriberBase*> Dispatcher::subscribersOf(std::type_index messageType) const {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const auto it = m_subscribers.find(messageType);
    return it == m_subscribers.end() ? std::vector<SubscriberBase*>() : it->second;
}

}  // namespace PubSub::Details
