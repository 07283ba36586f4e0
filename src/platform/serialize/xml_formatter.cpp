#include "platform/serialize/xml_formatter.h"

#include <charconv>
#include <exception>

#include "platform/serialize/error.h"

namespace Serialize {
namespace {

constexpr size_t kFlushBytes = size_t(1) << 20;

qint64 g_archiveLimit = kMaxArchiveBytes;

// ASCII that stands for itself in text and in attributes.
bool isPlainAscii(ushort c) {
    return c >= 0x20 && c < 0x80 && c != '<' && c != '>' && c != '&' && c != '"';
}

const char* typeAttribute(ValueType type) {
    switch (type) {
        case ValueType::Bool:
            return "bool";
        case ValueType::Int32:
            return "i32";
        case ValueType::Int64:
            return "i64";
        case ValueType::Double:
            return "f64";
        case ValueType::String:
            return "str";
        case ValueType::Image:
            return "image";
        case ValueType::Blob:
            return "blob";
        case ValueType::Object:
            return "obj";
        case ValueType::Null:
            return "null";
        case ValueType::Section:
            return "sec";
        case ValueType::Array:
            return "array";
    }
    return "";
}

}  // namespace

ArchiveSizeLimit::ArchiveSizeLimit(qint64 maxBytes) : m_previous(g_archiveLimit) {
    g_archiveLimit = maxBytes;
}

ArchiveSizeLimit::~ArchiveSizeLimit() {
    g_archiveLimit = m_previous;
}

qint64 ArchiveSizeLimit::current() {
    return g_archiveLimit;
}

std::unique_ptr<IFormatter> MakeFormatter(QByteArray& out, IContentReceiver& receiver,
                                          Format format) {
    switch (format) {
        case Format::Xml:
            return std::make_unique<XmlFormatter>(out, receiver, ArchiveSizeLimit::current());
    }
    throw Error(QStringLiteral("unknown archive format %1").arg(int(format)));
}

XmlFormatter::XmlFormatter(QByteArray& out, IContentReceiver& receiver, qint64 maxBytes)
    : m_out(out),
      m_receiver(receiver),
      m_maxBytes(maxBytes),
      m_exceptionsAtStart(std::uncaught_exceptions()) {
    m_out.clear();
    m_buffer.reserve(kFlushBytes + 4096);
    ascii("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    startElement(QStringLiteral("archive"), nullptr);
    ascii(" format=\"0\"");
    m_pendingKey = QStringLiteral("root");
}

XmlFormatter::~XmlFormatter() {
    // A destructor runs while an exception unwinds too: it must not throw, and it must not leave
    // a truncated document that passes for a whole one.
    if (std::uncaught_exceptions() > m_exceptionsAtStart)
        m_failed = true;
    if (!m_finished && !m_failed) {
        try {
            finish();
        } catch (...) {
            m_failed = true;
        }
    }
    if (m_failed)
        m_out.clear();
}

void XmlFormatter::finish() {
    if (m_finished)
        return;
    if (m_failed)
        throw Error(QStringLiteral("the archive cannot be completed after a failed write"));
    while (!m_open.empty())
        endElementTag();
    ascii("\n");
    flush();
    m_finished = true;
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

void XmlFormatter::scalar(ValueType type, const QString& value) {
    startElement(m_pendingKey, typeAttribute(type));
    if (type == ValueType::String && needsEncoding(value)) {
        ascii(" enc=\"utf16-base64\"");
        const QByteArray units(reinterpret_cast<const char*>(value.utf16()), value.size() * 2);
        closeStartTag();
        const QByteArray encoded = units.toBase64();
        ascii(encoded.constData(), size_t(encoded.size()));
    } else if (!value.isEmpty()) {
        closeStartTag();
        text(value);
    }
    endElementTag();
}

void XmlFormatter::asciiScalar(ValueType type, const char* value, int size) {
    startElement(m_pendingKey, typeAttribute(type));
    if (size > 0) {
        closeStartTag();
        ascii(value, size_t(size));
    }
    endElementTag();
}

void XmlFormatter::beginObject(const QString& typeName) {
    startElement(m_pendingKey, typeAttribute(ValueType::Object));
    attribute("class", typeName);
}

void XmlFormatter::nullObject() {
    startElement(m_pendingKey, typeAttribute(ValueType::Null));
    endElementTag();
}

void XmlFormatter::endObject() {
    endElementTag();
}

void XmlFormatter::beginSection() {
    startElement(m_pendingKey, typeAttribute(ValueType::Section));
}

void XmlFormatter::endSection() {
    endElementTag();
}

void XmlFormatter::beginArray(qint64 count) {
    startElement(m_pendingKey, typeAttribute(ValueType::Array));
    attribute("count", count);
}

void XmlFormatter::beginElement(qint64 number) {
    static const QString elementName = QStringLiteral("e");
    startElement(elementName, nullptr);
    attribute("n", number);
}

void XmlFormatter::endElement() {
    endElementTag();
}

void XmlFormatter::endArray() {
    endElementTag();
}

// Each start tag on a line of its own; an element's end tag follows its text directly, or stands on
// a line of its own after child elements. Lines are not indented: a merged overlay's stored item
// holds millions of elements, and indentation would more than double its size.
void XmlFormatter::startElement(const QString& elementName, const char* type) {
    flushIfFull();
    closeStartTag();
    if (!m_open.empty())
        m_open.back().hasChildren = true;
    m_buffer.push_back('\n');
    m_buffer.push_back('<');
    name(elementName);
    m_open.push_back({elementName, false});
    m_inStartTag = true;
    if (type) {
        ascii(" t=\"");
        ascii(type);
        m_buffer.push_back('"');
    }
}

void XmlFormatter::attribute(const char* attributeName, const QString& value) {
    m_buffer.push_back(' ');
    ascii(attributeName);
    ascii("=\"");
    escaped(value, true);
    m_buffer.push_back('"');
}

void XmlFormatter::attribute(const char* attributeName, qint64 value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    m_buffer.push_back(' ');
    ascii(attributeName);
    ascii("=\"");
    ascii(digits, size_t(end - digits));
    m_buffer.push_back('"');
}

void XmlFormatter::closeStartTag() {
    if (m_inStartTag) {
        m_buffer.push_back('>');
        m_inStartTag = false;
    }
}

void XmlFormatter::endElementTag() {
    const Open element = std::move(m_open.back());
    m_open.pop_back();
    if (m_inStartTag) {
        ascii("/>");
        m_inStartTag = false;
        return;
    }
    if (element.hasChildren)
        m_buffer.push_back('\n');
    ascii("</");
    name(element.name);
    m_buffer.push_back('>');
}

void XmlFormatter::text(const QString& value) {
    escaped(value, false);
}

// Keys are checked XML names, ASCII only.
void XmlFormatter::name(const QString& value) {
    const QChar* chars = value.constData();
    const size_t at = m_buffer.size();
    m_buffer.resize(at + size_t(value.size()));
    char* out = &m_buffer[at];
    for (int i = 0, size = value.size(); i < size; ++i)
        out[i] = char(chars[i].unicode());
}

void XmlFormatter::ascii(const char* value) {
    m_buffer.append(value);
}

void XmlFormatter::escaped(const QString& value, bool inAttribute) {
    const QChar* chars = value.constData();
    const int size = value.size();
    int i = 0;
    for (; i < size; ++i) {
        // A run of plain ASCII goes in at once.
        int end = i;
        while (end < size && isPlainAscii(chars[end].unicode()))
            ++end;
        if (end > i) {
            const size_t at = m_buffer.size();
            m_buffer.resize(at + size_t(end - i));
            for (int k = i; k < end; ++k)
                m_buffer[at + size_t(k - i)] = char(chars[k].unicode());
            i = end;
            if (i == size)
                break;
        }
        const ushort c = chars[i].unicode();
        if (c >= 0x80)
            break;
        switch (c) {
            case '<':
                ascii("&lt;");
                break;
            case '>':
                ascii("&gt;");
                break;
            case '&':
                ascii("&amp;");
                break;
            case '"':
                ascii("&quot;");
                break;
            case '\t':
                inAttribute ? ascii("&#9;") : m_buffer.push_back('\t');
                break;
            case '\n':
                inAttribute ? ascii("&#10;") : m_buffer.push_back('\n');
                break;
            case '\r':
                inAttribute ? ascii("&#13;") : m_buffer.push_back('\r');
                break;
            default:
                m_buffer.push_back(char(c));
        }
    }
    if (i == size)
        return;
    // Text beyond ASCII: escaped as above, then encoded as a whole.
    QString rest;
    rest.reserve(size - i);
    for (; i < size; ++i) {
        const QChar c = chars[i];
        switch (c.unicode()) {
            case '<':
                rest += QLatin1String("&lt;");
                break;
            case '>':
                rest += QLatin1String("&gt;");
                break;
            case '&':
                rest += QLatin1String("&amp;");
                break;
            case '"':
                rest += QLatin1String("&quot;");
                break;
            case '\t':
                rest += inAttribute ? QLatin1String("&#9;") : QLatin1String("\t");
                break;
            case '\n':
                rest += inAttribute ? QLatin1String("&#10;") : QLatin1String("\n");
                break;
            case '\r':
                rest += inAttribute ? QLatin1String("&#13;") : QLatin1String("\r");
                break;
            default:
                rest += c;
        }
    }
    const QByteArray utf8 = rest.toUtf8();
    m_buffer.append(utf8.constData(), size_t(utf8.size()));
}

void XmlFormatter::flushIfFull() {
    if (m_buffer.size() >= kFlushBytes)
        flush();
}

void XmlFormatter::flush() {
    if (qint64(m_out.size()) + qint64(m_buffer.size()) > m_maxBytes) {
        m_failed = true;
        throw Error(QStringLiteral("the archive is too large: more than %1 bytes").arg(m_maxBytes));
    }
    m_out.append(m_buffer.data(), int(m_buffer.size()));
    m_buffer.clear();
}

}  // namespace Serialize
