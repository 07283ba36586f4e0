#pragma once

#include <QString>

#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"

namespace Serialize {

// Writes a sequence of serializable values as an array whose elements hold one object under "Data".
template <class Container>
void writeObjectArray(ISerializer& s, const QString& name, const Container& values) {
    s.key(name);
    s.beginArray(qint64(values.size()));
    for (const auto& value : values) {
        s.beginElement();
        s.write("Data", &value);
        s.endElement();
    }
    s.endArray();
}

// Reads what writeObjectArray wrote into a container of values of one concrete type.
template <class Container>
void readObjectArray(IDeserializer& d, const QString& name, Container& values) {
    values.clear();
    d.key(name);
    const qint64 count = d.beginArray();
    for (qint64 i = 0; i < count; ++i) {
        d.beginElement();
        d.key("Data");
        values.emplace_back();
        d.readObjectInto(values.back());
        d.endElement();
    }
    d.endArray();
}

// Writes a sequence of strings as an array whose elements hold one string under "Data".
template <class Container>
void writeStringArray(ISerializer& s, const QString& name, const Container& values) {
    s.key(name);
    s.beginArray(qint64(values.size()));
    for (const QString& value : values) {
        s.beginElement();
        s.write("Data", value);
        s.endElement();
    }
    s.endArray();
}

// Writes a string map as an array whose elements hold "Key" and then "Value".
template <class Map>
void writeStringMap(ISerializer& s, const QString& name, const Map& values) {
    s.key(name);
    s.beginArray(qint64(values.size()));
    for (const auto& entry : values) {
        s.beginElement();
        s.write("Key", entry.first);
        s.write("Value", entry.second);
        s.endElement();
    }
    s.endArray();
}

// Reads what writeStringMap wrote; a repeated key keeps its first value.
template <class Map>
void readStringMap(IDeserializer& d, const QString& name, Map& values) {
    values.clear();
    d.key(name);
    const qint64 count = d.beginArray();
    for (qint64 i = 0; i < count; ++i) {
        d.beginElement();
        QString key;
        QString value;
        d.read("Key", key);
        d.read("Value", value);
        values.emplace(key, value);
        d.endElement();
    }
    d.endArray();
}

}  // namespace Serialize
