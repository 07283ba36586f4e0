#include <QXmlStreamReader>

#include "platform/serialize/error.h"
#include "platform/serialize/node.h"

namespace Serialize {
namespace {

class Parser {
public:
    Parser(const QByteArray& data, const QString& source, const ParseLimits& limits)
        : m_reader(data), m_source(source), m_limits(limits) {}

    Node parse() {
        readToStartElement();
        if (m_reader.name() != QLatin1String("archive"))
            fail(QStringLiteral("not an archive: the root element is <%1>").arg(m_reader.name()));
        if (m_reader.attributes().value(QLatin1String("format")) != QLatin1String("0"))
            fail(QStringLiteral("unsupported archive format '%1'")
                     .arg(m_reader.attributes().value(QLatin1String("format"))));

        Node root;
        bool haveRoot = false;
        while (nextToken()) {
            if (m_reader.isStartElement()) {
                if (haveRoot)
                    fail(QStringLiteral("more than one root object"));
                root = readNode(1, false);
                haveRoot = true;
            } else if (m_reader.isEndElement()) {
                break;
            } else if (m_reader.isCharacters() && !m_reader.isWhitespace()) {
                fail(QStringLiteral("unexpected text"));
            }
        }
        if (!haveRoot)
            fail(QStringLiteral("the archive holds no object"));
        if (root.name != QLatin1String("root") ||
            (root.type != ValueType::Object && root.type != ValueType::Null))
            failAt(root.line,
                   QStringLiteral("the archive's first element must be the root object"));
        while (nextToken()) {
            if (m_reader.isStartElement() || (m_reader.isCharacters() && !m_reader.isWhitespace()))
                fail(QStringLiteral("content after the archive"));
        }
        return root;
    }

private:
    [[noreturn]] void fail(const QString& what) { failAt(m_reader.lineNumber(), what); }
    [[noreturn]] void failAt(qint64 line, const QString& what) {
        throw Error(m_source, line, QString(), what);
    }

    // Advances one token; false at the end of the document. Turns reader errors and the tokens
    // that we never accept into exceptions.
    bool nextToken() {
        if (m_reader.atEnd())
            return false;
        const auto token = m_reader.readNext();
        if (m_reader.hasError()) {
            if (m_reader.error() == QXmlStreamReader::PrematureEndOfDocumentError)
                fail(QStringLiteral("malformed XML: the document ends too early"));
            fail(QStringLiteral("malformed XML: %1").arg(m_reader.errorString()));
        }
        if (token == QXmlStreamReader::DTD)
            fail(QStringLiteral("document type declarations are not allowed"));
        if (token == QXmlStreamReader::EntityReference)
            fail(QStringLiteral("entity references are not allowed"));
        return token != QXmlStreamReader::EndDocument;
    }

    void readToStartElement() {
        while (nextToken()) {
            if (m_reader.isStartElement())
                return;
            if (m_reader.isCharacters() && !m_reader.isWhitespace())
                fail(QStringLiteral("unexpected text before the root element"));
        }
        fail(QStringLiteral("empty document"));
    }

    // Reads the element that the reader stands on, up to and including its end.
    Node readNode(int depth, bool isElement) {
        if (depth > m_limits.maxDepth)
            fail(QStringLiteral("nested deeper than %1 levels").arg(m_limits.maxDepth));
        if (++m_nodes > m_limits.maxNodes)
            fail(QStringLiteral("more than %1 values").arg(m_limits.maxNodes));

        Node node;
        node.line = m_reader.lineNumber();
        node.name = m_reader.name().toString();
        const QXmlStreamAttributes attributes = m_reader.attributes();

        if (isElement) {
            if (node.name != QLatin1String("e"))
                fail(QStringLiteral("an array holds <%1> where a numbered element <e> belongs")
                         .arg(node.name));
            node.type = ValueType::Section;
            node.count = attributes.value(QLatin1String("n")).toLongLong();
            readChildren(node, depth, false);
            return node;
        }

        const QString typeText = attributes.value(QLatin1String("t")).toString();
        if (typeText.isEmpty())
            fail(QStringLiteral("key '%1' has no value type").arg(node.name));
        if (!valueTypeFromName(typeText, &node.type))
            fail(QStringLiteral("key '%1' has the unknown value type '%2'")
                     .arg(node.name, typeText));

        switch (node.type) {
            case ValueType::Object:
                node.className = attributes.value(QLatin1String("class")).toString();
                if (node.className.isEmpty())
                    fail(QStringLiteral("object '%1' has no class").arg(node.name));
                readChildren(node, depth, false);
                break;
            case ValueType::Section:
                readChildren(node, depth, false);
                break;
            case ValueType::Array: {
                bool ok = false;
                node.count = attributes.value(QLatin1String("count")).toLongLong(&ok);
                if (!ok || node.count < 0)
                    fail(QStringLiteral("array '%1' has no valid count").arg(node.name));
                readChildren(node, depth, true);
                if (qint64(node.children.size()) != node.count)
                    failAt(node.line,
                           QStringLiteral("array '%1' announces %2 elements but holds %3")
                               .arg(node.name)
                               .arg(node.count)
                               .arg(node.children.size()));
                for (size_t i = 0; i < node.children.size(); ++i) {
                    if (node.children[i].count != qint64(i) + 1)
                        failAt(node.children[i].line,
                               QStringLiteral("array '%1': element %2 is numbered '%3'")
                                   .arg(node.name)
                                   .arg(i + 1)
                                   .arg(node.children[i].count));
                }
                break;
            }
            case ValueType::Null:
                readChildren(node, depth, false);
                if (!node.children.empty())
                    failAt(node.line,
                           QStringLiteral("null object '%1' has content").arg(node.name));
                break;
            default:
                readScalar(node, attributes.value(QLatin1String("enc")).toString());
                break;
        }
        return node;
    }

    void readChildren(Node& node, int depth, bool elements) {
        while (nextToken()) {
            if (m_reader.isEndElement())
                return;
            if (m_reader.isStartElement())
                node.children.push_back(readNode(depth + 1, elements));
            else if (m_reader.isCharacters() && !m_reader.isWhitespace())
                fail(QStringLiteral("unexpected text inside '%1'").arg(node.name));
        }
        fail(QStringLiteral("malformed XML: the document ends inside '%1'").arg(node.name));
    }

    void readScalar(Node& node, const QString& encoding) {
        QString text;
        while (nextToken()) {
            if (m_reader.isEndElement())
                break;
            if (m_reader.isStartElement())
                fail(QStringLiteral("value '%1' holds an element").arg(node.name));
            if (m_reader.isCharacters())
                text += m_reader.text();
        }
        if (!m_reader.isEndElement())
            fail(QStringLiteral("malformed XML: the document ends inside '%1'").arg(node.name));
        if (encoding.isEmpty()) {
            node.text = text;
        } else if (encoding == QLatin1String("utf16-base64") && node.type == ValueType::String) {
            const QByteArray units = QByteArray::fromBase64(text.toLatin1());
            if (units.size() % 2 != 0)
                failAt(node.line,
                       QStringLiteral("value '%1' is not valid encoded text").arg(node.name));
            node.text =
                QString(reinterpret_cast<const QChar*>(units.constData()), units.size() / 2);
        } else {
            failAt(node.line, QStringLiteral("value '%1' has the unknown encoding '%2'")
                                  .arg(node.name, encoding));
        }
    }

    QXmlStreamReader m_reader;
    QString m_source;
    ParseLimits m_limits;
    qint64 m_nodes = 0;
};

}  // namespace

Node parseXml(const QByteArray& data, const QString& source, const ParseLimits& limits) {
    return Parser(data, source, limits).parse();
}

}  // namespace Serialize
