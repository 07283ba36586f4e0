#pragma once

#include <QString>
#include <map>
#include <set>
#include <string>
#include <typeinfo>

#include "platform/pubsub/pubsub_object.h"
#include "platform/serialize/collections.h"
#include "platform/serialize/deserializer.h"
#include "platform/serialize/image.h"
#include "platform/serialize/serializable.h"
#include "platform/serialize/serializer.h"

namespace EditorCollection {

// The record that the editor's collection keeps for every stored item: the item with its unique id,
// preview, categories, collection id and free key-value texts. T is an item base type that has a
// static staticTypeName() (Effect::Object, Transition::Object, Import::Object, Overlay::Preset).
//
// The record does not own `item`. When a record is read, the item is created in the reading
// deserializer's object storage. The record owns its preview, a Types::Image, so making one
// throws Types::NoGuiApplicationError when the program has no QGuiApplication; reading one throws
// Serialize::Error for a malformed archive.
template <class T>
class PersistentItem : public Serialize::ISerializable, public virtual PubSub::Object {
public:
    QString uniqueId;
    T* item = nullptr;
    Types::Image preview;
    std::set<QString> categories;
    QString collectionId;
    std::map<QString, QString> customStrings;

    static std::string NameInArchive() {
        return "EditorCollection::PersistentItem<" + T::staticTypeName() + ">";
    }

    std::string typeName() const override { return NameInArchive(); }

    void Serialize(Serialize::ISerializer& s) const override { serializeBody(s); }
    void Deserialize(Serialize::IDeserializer& d) override { deserializeBody(d); }

    // The record's values without the enclosing object.
    void serializeBody(Serialize::ISerializer& s) const {
        s.write("uniqueId", uniqueId);
        s.key("item");
        s.writeObject(item);
        s.write("preview", preview);
        Serialize::writeStringArray(s, "categories", categories);
        s.write("collectionId", collectionId);
        Serialize::writeStringMap(s, "customStrings", customStrings);
    }

    // Throws std::bad_cast when the stored item is not a T.
    void deserializeBody(Serialize::IDeserializer& d) {
        d.read("uniqueId", uniqueId);
        d.key("item");
        std::unique_ptr<Serialize::ISerializable> object = d.readObject();
        if (object) {
            T& typed = dynamic_cast<T&>(*object);
            d.storage().adopt(std::move(object));
            item = &typed;
        } else {
            item = nullptr;
        }
        d.read("preview", preview);
        categories.clear();
        d.key("categories");
        const qint64 count = d.beginArray();
        for (qint64 i = 0; i < count; ++i) {
            d.beginElement();
            QString category;
            d.read("Data", category);
            categories.insert(category);
            d.endElement();
        }
        d.endArray();
        d.read("collectionId", collectionId);
        Serialize::readStringMap(d, "customStrings", customStrings);
    }
};

}  // namespace EditorCollection
