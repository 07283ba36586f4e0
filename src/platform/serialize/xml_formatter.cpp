#include "platform/serialize/xml_formatter.h"

#include "platform/serialize/error.h"

namespace Serialize {

std::unique_ptr<IFormatter> MakeFormatter(QByteArray& out, IContentReceiver& receiver,
                                          Format format) {
    switch (format) {
        case Format::Xml:
            return std::make_unique<XmlFormatter>(out, receiver);
    }
    throw Error(QStringLiteral("unknown archive format %1").arg(int(format)));
}

XmlFormatter::XmlFormatter(QByteArray& out, IContentReceiver& receiver)
    : m_writer(&out), m_receiver(receiver) {
    m_writer.setCodec("UTF-8");
    m_writer.setAutoFormatting(true);
    m_writer.setAutoFormattingIndent(4);
    m_writer.writeStartDocument();
    m_writer.writeStartElement(QStringLiteral("archive"));
    m_writer.writeAttribute(QStringLiteral("format"), QStringLiteral("0"));
    m_pendingKey = QStringLiteral("root");
}

XmlFormatter::~XmlFormatter() {
    m_writer.writeEndDocument();
}

void XmlFormatter::key(const QString& name) {
    m_pendingKey = name;
}

bool XmlFormatter::needsEncoding(const QString& text) {
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const ushort u = c.unicode();
        if (c.isHighSurrogate()) {
            if (i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
                ++i;
                continue;
            }
            return true;
        }
        if (c.isLowSurrogate())
            return true;
        if (u < 0x20 && u != '\t' && u != '\n')
            return true;
        if (u == 0xFFFE || u == 0xFFFF)
            return true;
    }
    return false;
}

void XmlFormatter::scalar(ValueType type, const QString& text) {
    m_writer.writeStartElement(m_pendingKey);
    m_writer.writeAttribute(QStringLiteral("t"), valueTypeName(type));
    if (type == ValueType::String && needsEncoding(text)) {
        m_writer.writeAttribute(QStringLiteral("enc"), QStringLiteral("utf16-base64"));
        const QByteArray units(reinterpret_cast<const char*>(text.utf16()), text.size() * 2);
        m_writer.writeCharacters(QString::fromLatin1(units.toBase64()));
    } else if (!text.isEmpty()) {
        m_writer.writeCharacters(text);
    }
    m_writer.writeEndElement();
}

void XmlFormatter::beginObject(const QString& typeName) {
    m_writer.writeStartElement(m_pendingKey);
    m_writer.writeAttribute(QStringLiteral("t"), valueTypeName(ValueType::Object));
    m_writer.writeAttribute(QStringLiteral("class"), typeName);
}

void XmlFormatter::nullObject() {
    m_writer.writeEmptyElement(m_pendingKey);
    m_writer.writeAttribute(QStringLiteral("t"), valueTypeName(ValueType::Null));
}

void XmlFormatter::endObject() {
    m_writer.writeEndElement();
}

void XmlFormatter::beginSection() {
    m_writer.writeStartElement(m_pendingKey);
    m_writer.writeAttribute(QStringLiteral("t"), valueTypeName(ValueType::Section));
}

void XmlFormatter::endSection() {
    m_writer.writeEndElement();
}

void XmlFormatter::beginArray(qint64 count) {
    m_writer.writeStartElement(m_pendingKey);
    m_writer.writeAttribute(QStringLiteral("t"), valueTypeName(ValueType::Array));
    m_writer.writeAttribute(QStringLiteral("count"), QString::number(count));
}

void XmlFormatter::beginElement(qint64 number) {
    m_writer.writeStartElement(QStringLiteral("e"));
    m_writer.writeAttribute(QStringLiteral("n"), QString::number(number));
}

void XmlFormatter::endElement() {
    m_writer.writeEndElement();
}

void XmlFormatter::endArray() {
    m_writer.writeEndElement();
}

}  // namespace Serialize
