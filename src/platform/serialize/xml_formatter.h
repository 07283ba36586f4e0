#pragma once

#include <QXmlStreamWriter>

#include "platform/serialize/formatter.h"

namespace Serialize {

// Format 0: one element per key, the value type in the attribute "t", objects with their type name
// in "class", arrays with their "count" and numbered elements <e n="1">...
class XmlFormatter : public IFormatter {
public:
    XmlFormatter(QByteArray& out, IContentReceiver& receiver);
    ~XmlFormatter() override;

    void key(const QString& name) override;
    void scalar(ValueType type, const QString& text) override;
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

    // Strings that XML cannot carry unchanged (control characters, carriage returns, lone
    // surrogates, non-characters) are written as base64 of their UTF-16 code units.
    static bool needsEncoding(const QString& text);

private:
    QXmlStreamWriter m_writer;
    IContentReceiver& m_receiver;
    QString m_pendingKey;
};

}  // namespace Serialize
