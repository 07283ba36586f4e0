#pragma once

#include <algorithm>
#include <boost/container/deque.hpp>
#include <boost/container/options.hpp>
#include <string>

#include "platform/model/transformation_object.h"
#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"

namespace Animation {

// What an envelope of values of type T starts from: `s_defaultValue` is the value of an envelope
// that has no keys. Specialised per animated type.
template <class T>
struct ValueTypeTrait;

// One key of an envelope: a value at `step`, a fraction of the clip's content (0 at its start,
// 1 at its end).
template <class T>
class KeyValue : public Serialize::ISerializable {
public:
    KeyValue() = default;
    KeyValue(double step, const T& value) : step(step), value(value) {}

    double step = 0.0;
    T value;

    static std::string NameInArchive() {
        return "Animation::KeyValue<" + T::staticTypeName() + ">";
    }
    std::string typeName() const override { return NameInArchive(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<KeyValue>(*this);
    }

    void Serialize(Serialize::ISerializer& s) const override {
        s.write("step", step);
        s.write("value", &value);
    }
    void Deserialize(Serialize::IDeserializer& d) override {
        d.read("step", step);
        d.key("value");
        d.readObjectInto(value);
    }
};

// An animation envelope: a default value and keys ordered by step. Between two keys the
// Interpolator blends their values; before the first and after the last key the nearest key holds.
// A value type that owns its keys; reading one throws Serialize::Error for a malformed archive.
template <class Trait, class Interpolator>
class Item : public Serialize::ISerializable {
public:
    using ValueType = typename Trait::ValueType;
    using Key = KeyValue<ValueType>;

    ValueType defaultValue = Trait::s_defaultValue;
    // A double-ended queue that allocates nothing until its first key, in blocks of a few keys:
    // every overlay item holds an envelope, most with no or few keys, and a merged preset can
    // hold a million items.
    using Keys = boost::container::deque<
        Key, void, boost::container::deque_options_t<boost::container::block_size<4u>>>;
    Keys keys;

    Item() = default;
    Item(const Item&) = default;
    Item(Item&&) noexcept = default;
    // Assignment goes through a fresh deque and a swap: the deque's own assignment clears its
    // target first, which does pointer arithmetic on the null block map of a deque that never
    // held a key.
    Item& operator=(const Item& other) {
        defaultValue = other.defaultValue;
        Keys(other.keys).swap(keys);
        return *this;
    }
    Item& operator=(Item&& other) noexcept {
        defaultValue = std::move(other.defaultValue);
        Keys(std::move(other.keys)).swap(keys);
        return *this;
    }

    ValueType valueAt(double step) const {
        if (keys.empty())
            return defaultValue;
        const auto after =
            std::upper_bound(keys.begin(), keys.end(), step,
                             [](double value, const Key& key) { return value < key.step; });
        if (after == keys.begin())
            return keys.front().value;
        if (after == keys.end())
            return keys.back().value;
        const Key& before = *(after - 1);
        const double span = after->step - before.step;
        const double t = span > 0 ? (step - before.step) / span : 1.0;
        return Interpolator::interpolate(before.value, after->value, t);
    }

    static std::string NameInArchive() {
        return "Animation::Item<" + ValueType::staticTypeName() + ">";
    }
    std::string typeName() const override { return NameInArchive(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<Item>(*this);
    }

    void Serialize(Serialize::ISerializer& s) const override {
        s.write("defaultValue", &defaultValue);
        s.key("keyValues");
        s.beginArray(qint64(keys.size()));
        for (const Key& key : keys) {
            s.beginElement();
            s.write("Data", &key);
            s.endElement();
        }
        s.endArray();
    }
    void Deserialize(Serialize::IDeserializer& d) override {
        d.key("defaultValue");
        d.readObjectInto(defaultValue);
        // Boost's deque.clear() offsets the null block map of a deque that never allocated, which
        // is undefined behaviour; an empty one needs no clearing anyway.
        if (!keys.empty())
            keys.clear();
        d.key("keyValues");
        const qint64 count = d.beginArray();
        for (qint64 i = 0; i < count; ++i) {
            d.beginElement();
            keys.emplace_back();
            d.key("Data");
            d.readObjectInto(keys.back());
            d.endElement();
        }
        d.endArray();
    }
};

template <>
struct ValueTypeTrait<Transformation::Object> {
    using ValueType = Transformation::Object;
    static const Transformation::Object s_defaultValue;
};

}  // namespace Animation

namespace Envelope {

// Blends two transformations field by field, linearly.
struct TransformationInterpolator {
    static Transformation::Object interpolate(const Transformation::Object& from,
                                              const Transformation::Object& to, double t);
};

}  // namespace Envelope

namespace Transformation {

// The transformation envelope that clips and overlay items carry.
using Envelope =
    Animation::Item<Animation::ValueTypeTrait<Object>, ::Envelope::TransformationInterpolator>;

}  // namespace Transformation
