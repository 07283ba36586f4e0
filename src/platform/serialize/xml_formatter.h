#pragma once

#include <QByteArray>
#include <QString>
#include <string>
#include <vector>

#include "platform/serialize/formatter.h"

namespace Serialize {

// Format 0: one element per key, the value type in the attribute "t", objects with their type name
// in "class", arrays with their "count" and numbered elements <e n="1">... One element per line,
// not indented (docs/xml-format.md). Writes UTF-8 straight into a buffer that goes to the byte
// array in large pieces.
class XmlFormatter : public IFormatter {
public:
    // `maxBytes` bounds the document; more is a Serialize::Error ("the archive is too large").
    XmlFormatter(QByteArray& out, IContentReceiver& receiver, qint64 maxBytes = kMaxArchiveBytes);
    // Completes the document unless finish() did; never throws. When completing fails, when
    // writing failed before, or when an exception unwinds through the formatter's owner, the byte
    // array is left empty rather than holding a truncated document.
    ~XmlFormatter() override;

    void key(const QString& name) override;
    void scalar(ValueType type, const QString& text) override;
    void asciiScalar(ValueType type, const char* text, int size) override;
    void beginObject(const QString& typeName) override;
    void nullObject() override;
    void endObject() override;
    void beginSection() override;
    void endSection() override;
    void beginArray(qint64 count) override;
    void beginElement(qint64 number) override;
    void endElement() override;
    void endArray() override;
    IContentReceiver& contentReceiver() override { return m_receiver; }
    void finish() override;

    // Strings that XML cannot carry unchanged (control characters, carriage returns, lone
    // surrogates, non-characters) are written as base64 of their UTF-16 code units.
    static bool needsEncoding(const QString& text);

private:
    struct Open {
        QString name;
        bool hasChildren = false;
    };

    // `type` is the value type's attribute text, or null for none.
    void startElement(const QString& name, const char* type);
    void attribute(const char* name, const QString& value);
    void attribute(const char* name, qint64 value);
    void closeStartTag();
    void endElementTag();
    void text(const QString& value);
    void name(const QString& value);
    void ascii(const char* text, size_t size) { m_buffer.append(text, size); }
    void ascii(const char* text);
    void escaped(const QString& value, bool inAttribute);
    void flushIfFull();
    void flush();

    QByteArray& m_out;
    IContentReceiver& m_receiver;
    qint64 m_maxBytes;
    int m_exceptionsAtStart;  // uncaught exceptions at construction; more at destruction: failed
    std::string m_buffer;     // what has not yet gone to m_out
    std::vector<Open> m_open;
    bool m_inStartTag = false;
    bool m_finished = false;
    bool m_failed = false;
    QString m_pendingKey;
};

}  // namespace Serialize
