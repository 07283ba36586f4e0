#pragma once

namespace PubSub {

// Base of everything that can take part in publish-subscribe messaging. Editor items carry it as a
// virtual base so that an item is one messaging participant however many model bases it has.
class Object {
public:
    virtual ~Object() = default;

protected:
    Object() = default;
    Object(const Object&) = default;
    Object& operator=(const Object&) = default;
};

}  // namespace PubSub
