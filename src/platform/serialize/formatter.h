#pragma once

#include <QByteArray>
#include <QString>
#include <memory>

#include "platform/serialize/content_receiver.h"
#include "platform/serialize/value_type.h"

namespace Serialize {

// The archive formats. Format 0 is XML (see docs/xml-format.md).
enum class Format { Xml = 0 };

// The syntax of one archive format. A formatter writes what the serializer tells it, in order; it
// does not check the structure (the serializer does). Destroying the formatter completes the
// document in the byte array it was made on.
class IFormatter {
public:
    virtual ~IFormatter() = default;

    virtual void key(const QString& name) = 0;
    // One scalar value: Bool, Int32, Int64, Double, String, Image or Blob, already in text form.
    virtual void scalar(ValueType type, const QString& text) = 0;
    virtual void beginObject(const QString& typeName) = 0;
    virtual void nullObject() = 0;
    virtual void endObject() = 0;
    virtual void beginSection() = 0;
    virtual void endSection() = 0;
    virtual void beginArray(qint64 count) = 0;
    virtual void beginElement(qint64 number) = 0;
    virtual void endElement() = 0;
    virtual void endArray() = 0;

    virtual IContentReceiver& contentReceiver() = 0;
};

// Makes a formatter that writes into `out`, handing images and blobs to `receiver`. Both must
// outlive the formatter.
std::unique_ptr<IFormatter> MakeFormatter(QByteArray& out, IContentReceiver& receiver,
                                          Format format);

}  // namespace Serialize
