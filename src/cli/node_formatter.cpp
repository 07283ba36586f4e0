#include "cli/node_formatter.h"

#include <QJsonArray>
#include <QJsonObject>

#include "cli/terminal_text.h"
#include "platform/serialize/serializer.h"

namespace Cli {

using Serialize::Node;
using Serialize::ValueType;

NodeFormatter::NodeFormatter() {
    m_top.type = ValueType::Section;
    m_stack.push_back(&m_top);
    m_key = QStringLiteral("root");
}

Node& NodeFormatter::open(ValueType type) {
    Node* parent = m_stack.back();
    parent->children.emplace_back();
    Node& node = parent->children.back();
    node.type = type;
    node.name = parent->type == ValueType::Array ? QString() : m_key;
    return node;
}

void NodeFormatter::scalar(ValueType type, const QString& text) {
    open(type).text = text;
}

void NodeFormatter::beginObject(const QString& typeName) {
    Node& node = open(ValueType::Object);
    node.className = typeName;
    m_stack.push_back(&node);
}

void NodeFormatter::nullObject() {
    open(ValueType::Null);
}

void NodeFormatter::beginSection() {
    m_stack.push_back(&open(ValueType::Section));
}

void NodeFormatter::beginArray(qint64 count) {
    Node& node = open(ValueType::Array);
    node.count = count;
    m_stack.push_back(&node);
}

void NodeFormatter::beginElement(qint64 number) {
    Node& node = open(ValueType::Section);
    node.count = number;
    m_stack.push_back(&node);
}

const Node& NodeFormatter::root() const {
    static const Node empty;
    return m_top.children.empty() ? empty : m_top.children.front();
}

Node NodeFormatter::describe(const Serialize::ISerializable& object) {
    NodeFormatter formatter;
    Serialize::ISerializer::MakeSerializer(formatter)->serialize(object);
    return formatter.root();
}

QString NodeFormatter::Receiver::PutImage(const Types::Image& image) {
    return QStringLiteral("image %1 x %2").arg(image.width()).arg(image.height());
}

QString NodeFormatter::Receiver::PutBlob(const QByteArray& data) {
    return QStringLiteral("blob of %1 bytes").arg(data.size());
}

QJsonValue toJson(const Node& node) {
    switch (node.type) {
        case ValueType::Bool:
            return node.text == QLatin1String("true");
        case ValueType::Int32:
            return node.text.toInt();
        case ValueType::Int64: {
            const qint64 value = node.text.toLongLong();
            if (value > (qint64(1) << 53) || value < -(qint64(1) << 53))
                return node.text;
            return double(value);
        }
        case ValueType::Double: {
            bool ok = false;
            const double value = node.text.toDouble(&ok);
            if (!ok || !qIsFinite(value))
                return node.text;
            return value;
        }
        case ValueType::String:
        case ValueType::Image:
        case ValueType::Blob:
            return node.text;
        case ValueType::Null:
            return QJsonValue::Null;
        case ValueType::Array: {
            QJsonArray array;
            for (const Node& element : node.children)
                array.append(toJson(element));
            return array;
        }
        case ValueType::Object:
        case ValueType::Section: {
            QJsonObject object;
            if (node.type == ValueType::Object)
                object.insert(QStringLiteral("@type"), node.className);
            for (const Node& child : node.children)
                object.insert(child.name, toJson(child));
            return object;
        }
    }
    return QJsonValue();
}

QString toText(const Node& node, int indent) {
    const QString pad(indent, QLatin1Char(' '));
    QString out;
    for (const Node& child : node.children) {
        // Names, types and values all come from the archive that was read.
        const QString label = child.name.isEmpty() ? QStringLiteral("[%1]").arg(child.count)
                                                   : terminalSafe(child.name);
        switch (child.type) {
            case ValueType::Object:
                out += QStringLiteral("%1%2: %3\n").arg(pad, label, terminalSafe(child.className));
                out += toText(child, indent + 2);
                break;
            case ValueType::Section:
                out += QStringLiteral("%1%2:\n").arg(pad, label);
                out += toText(child, indent + 2);
                break;
            case ValueType::Array:
                out += QStringLiteral("%1%2: %3 %4\n")
                           .arg(pad, label)
                           .arg(child.children.size())
                           .arg(child.children.size() == 1 ? QStringLiteral("entry")
                                                           : QStringLiteral("entries"));
                out += toText(child, indent + 2);
                break;
            case ValueType::Null:
                out += QStringLiteral("%1%2: (none)\n").arg(pad, label);
                break;
            case ValueType::String:
                out += QStringLiteral("%1%2: \"%3\"\n").arg(pad, label, terminalSafe(child.text));
                break;
            default:
                out += QStringLiteral("%1%2: %3\n").arg(pad, label, terminalSafe(child.text));
                break;
        }
    }
    return out;
}

}  // namespace Cli
