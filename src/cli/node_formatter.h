#pragma once

#include <QJsonValue>
#include <vector>

#include "platform/serialize/formatter.h"
#include "platform/serialize/node.h"
#include "platform/serialize/serializable.h"

namespace Cli {

// A formatter that builds the value tree of what is serialized, in order, so that the tool can show
// any object that it has read back: as indented text or as JSON.
class NodeFormatter : public Serialize::IFormatter {
public:
    NodeFormatter();

    void key(const QString& name) override { m_key = name; }
    void scalar(Serialize::ValueType type, const QString& text) override;
    void beginObject(const QString& typeName) override;
    void nullObject() override;
    void endObject() override { close(); }
    void beginSection() override;
    void endSection() override { close(); }
    void beginArray(qint64 count) override;
    void beginElement(qint64 number) override;
    void endElement() override { close(); }
    void endArray() override { close(); }
    Serialize::IContentReceiver& contentReceiver() override { return m_receiver; }

    // The root value once serialization is done.
    const Serialize::Node& root() const;

    // Builds the tree of an object.
    static Serialize::Node describe(const Serialize::ISerializable& object);

private:
    // Names images by their size: the tool shows what it read, not where it came from.
    class Receiver : public Serialize::IContentReceiver {
    public:
        QString PutImage(const Types::Image& image) override;
        QString PutBlob(const QByteArray& data) override;
    };

    Serialize::Node& open(Serialize::ValueType type);
    void close() { m_stack.pop_back(); }

    Serialize::Node m_top;
    std::vector<Serialize::Node*> m_stack;
    QString m_key;
    Receiver m_receiver;
};

// JSON of a value tree: objects as JSON objects with their type under "@type", arrays as lists of
// their elements, 64-bit integers beyond 2^53 and non-finite doubles as strings.
QJsonValue toJson(const Serialize::Node& node);

// Indented "key: value" lines of a value tree.
QString toText(const Serialize::Node& node, int indent);

}  // namespace Cli
