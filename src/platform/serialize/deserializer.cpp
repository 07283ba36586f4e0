#include "platform/serialize/deserializer.h"

#include <vector>

#include "platform/serialize/error.h"

namespace Serialize {

Types::Image NoContentSource::GetImage(const QString& name) {
    throw Error(
        QStringLiteral("the archive refers to the image '%1', which is not available").arg(name));
}

QByteArray NoContentSource::GetBlob(const QString& name) {
    throw Error(
        QStringLiteral("the archive refers to the blob '%1', which is not available").arg(name));
}

namespace {

class Deserializer : public IDeserializer {
public:
    Deserializer(const Node& root, IContentSource& source, ObjectStorage& storage,
                 const QString& sourceName, const TypeRegistry& registry)
        : m_root(root),
          m_source(source),
          m_storage(storage),
          m_sourceName(sourceName),
          m_registry(registry) {}

    void deserialize(ISerializable& root) override {
        m_current = &m_root;
        readObjectInto(root);
    }

    std::unique_ptr<ISerializable> deserialize() override {
        m_current = &m_root;
        return readObject();
    }

    void key(const QString& name) override {
        if (m_frames.empty())
            throw Error(m_sourceName, 0, name, QStringLiteral("key read outside of an object"));
        Frame& frame = m_frames.back();
        if (frame.node->type == ValueType::Array)
            failAt(frame.node->line, name, QStringLiteral("key read directly inside an array"));
        if (frame.next >= frame.node->children.size()) {
            failAt(frame.node->line, name,
                   QStringLiteral("missing in '%1' (it ends after %2 values)")
                       .arg(describe(*frame.node))
                       .arg(frame.node->children.size()));
        }
        const Node& child = frame.node->children[frame.next];
        if (child.name != name)
            failAt(child.line, name,
                   QStringLiteral("missing: found '%1' in its place").arg(child.name));
        ++frame.next;
        m_current = &child;
    }

    bool readBool() override {
        const Node& node = take(ValueType::Bool);
        if (node.text == QLatin1String("true"))
            return true;
        if (node.text == QLatin1String("false"))
            return false;
        failAt(node.line, node.name, QStringLiteral("'%1' is not a bool").arg(node.text));
    }

    qint32 readInt32() override {
        const Node& node = take(ValueType::Int32);
        bool ok = false;
        const qint32 value = node.text.toInt(&ok);
        if (!ok || node.text.trimmed() != node.text)
            failAt(node.line, node.name,
                   QStringLiteral("'%1' is not a 32-bit integer").arg(node.text));
        return value;
    }

    qint64 readInt64() override {
        const Node& node = take(ValueType::Int64);
        bool ok = false;
        const qint64 value = node.text.toLongLong(&ok);
        if (!ok || node.text.trimmed() != node.text)
            failAt(node.line, node.name,
                   QStringLiteral("'%1' is not a 64-bit integer").arg(node.text));
        return value;
    }

    double readDouble() override {
        const Node& node = take(ValueType::Double);
        double value = 0;
        if (!parseDouble(node.text, &value))
            failAt(node.line, node.name, QStringLiteral("'%1' is not a number").arg(node.text));
        return value;
    }

    QString readString() override { return take(ValueType::String).text; }

    Types::Image readImage() override {
        const Node& node = take(ValueType::Image);
        if (node.text.isEmpty())
            return Types::Image();
        return withPlace(node, [&] { return m_source.GetImage(node.text); });
    }

    QByteArray readBlob() override {
        const Node& node = take(ValueType::Blob);
        return withPlace(node, [&] { return m_source.GetBlob(node.text); });
    }

    std::unique_ptr<ISerializable> readObject() override {
        const Node& node = currentValue();
        if (node.type == ValueType::Null) {
            m_current = nullptr;
            return nullptr;
        }
        expectType(node, ValueType::Object);
        std::unique_ptr<ISerializable> object = m_registry.create(node.className.toStdString());
        if (!object)
            failAt(node.line, node.name, QStringLiteral("unknown type '%1'").arg(node.className));
        readBody(node, *object);
        return object;
    }

    void readObjectInto(ISerializable& object) override {
        const Node& node = currentValue();
        expectType(node, ValueType::Object);
        const QString expected = QString::fromStdString(object.typeName());
        if (node.className != expected)
            failAt(
                node.line, node.name,
                QStringLiteral("holds a '%1' where a '%2' belongs").arg(node.className, expected));
        readBody(node, object);
    }

    void beginSection() override {
        const Node& node = take(ValueType::Section);
        m_frames.push_back({&node, 0});
    }
    void endSection() override { closeFrame(ValueType::Section); }

    qint64 beginArray() override {
        const Node& node = take(ValueType::Array);
        m_frames.push_back({&node, 0});
        return qint64(node.children.size());
    }

    void beginElement() override {
        if (m_frames.empty() || m_frames.back().node->type != ValueType::Array)
            throw Error(m_sourceName, 0, QString(),
                        QStringLiteral("array element read outside of an array"));
        Frame& array = m_frames.back();
        if (array.next >= array.node->children.size())
            failAt(array.node->line, array.node->name,
                   QStringLiteral("more elements read than the array holds (%1)")
                       .arg(array.node->children.size()));
        const Node& element = array.node->children[array.next++];
        m_frames.push_back({&element, 0, true});
    }

    void endElement() override {
        if (m_frames.empty() || !m_frames.back().isElement)
            throw Error(m_sourceName, 0, QString(),
                        QStringLiteral("unbalanced end of an array element"));
        checkConsumed(m_frames.back());
        m_frames.pop_back();
    }

    void endArray() override { closeFrame(ValueType::Array); }

    ObjectStorage& storage() override { return m_storage; }

    [[noreturn]] void fail(const QString& what) override {
        const Node* node =
            m_current ? m_current : (m_frames.empty() ? &m_root : m_frames.back().node);
        failAt(node->line, node->name, what);
    }

private:
    struct Frame {
        const Node* node;
        size_t next;
        bool isElement = false;
    };

    [[noreturn]] void failAt(qint64 line, const QString& key, const QString& what) const {
        throw Error(m_sourceName, line, key, what);
    }

    template <class F>
    auto withPlace(const Node& node, F&& f) -> decltype(f()) {
        try {
            return f();
        } catch (const Error& error) {
            failAt(node.line, node.name, QString::fromStdString(error.what()));
        }
    }

    static QString describe(const Node& node) {
        return node.name == QLatin1String("e") ? QStringLiteral("element %1").arg(node.count)
                                               : node.name;
    }

    const Node& currentValue() {
        if (!m_current)
            throw Error(m_sourceName, 0, QString(),
                        QStringLiteral("value read without reading its key"));
        return *m_current;
    }

    void expectType(const Node& node, ValueType type) const {
        if (node.type != type)
            failAt(node.line, node.name,
                   QStringLiteral("expected %1, found %2")
                       .arg(valueTypeName(type), valueTypeName(node.type)));
    }

    const Node& take(ValueType type) {
        const Node& node = currentValue();
        expectType(node, type);
        m_current = nullptr;
        return node;
    }

    void readBody(const Node& node, ISerializable& object) {
        m_current = nullptr;
        m_frames.push_back({&node, 0});
        object.Deserialize(*this);
        if (m_frames.empty() || m_frames.back().node != &node)
            failAt(node.line, node.name,
                   QStringLiteral("unbalanced sections or arrays while reading"));
        checkConsumed(m_frames.back());
        m_frames.pop_back();
        m_current = nullptr;
    }

    void closeFrame(ValueType type) {
        if (m_frames.empty() || m_frames.back().isElement || m_frames.back().node->type != type)
            throw Error(m_sourceName, 0, QString(),
                        QStringLiteral("unbalanced end of a section or array"));
        checkConsumed(m_frames.back());
        m_frames.pop_back();
        m_current = nullptr;
    }

    void checkConsumed(const Frame& frame) const {
        if (frame.next < frame.node->children.size()) {
            const Node& extra = frame.node->children[frame.next];
            failAt(extra.line, extra.name,
                   QStringLiteral("unexpected in '%1'").arg(describe(*frame.node)));
        }
    }

    const Node& m_root;
    IContentSource& m_source;
    ObjectStorage& m_storage;
    QString m_sourceName;
    const TypeRegistry& m_registry;
    std::vector<Frame> m_frames;
    const Node* m_current = nullptr;
};

}  // namespace

std::unique_ptr<IDeserializer> IDeserializer::MakeDeserializer(const Node& root,
                                                               IContentSource& source,
                                                               ObjectStorage& storage,
                                                               const QString& sourceName,
                                                               const TypeRegistry& registry) {
    return std::make_unique<Deserializer>(root, source, storage, sourceName, registry);
}

}  // namespace Serialize
