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
// does not check the structure (the serializer does). finish() completes the document in the byte
// array it was made on; destroying an unfinished formatter completes it too, but never throws (see
// the formatter's own header for what it leaves when that fails).
class IFormatter {
public:
    virtual ~IFormatter() = default;

    virtual void key(const QString& name) = 0;
    // One scalar value: Bool, Int32, Int64, Double, String, Image or Blob, already in text form.
    virtual void scalar(ValueType type, const QString& text) = 0;
    // The same for a text of ASCII characters that needs no escaping (numbers, booleans).
    virtual void asciiScalar(ValueType type, const char* text, int size) {
        scalar(type, QString::fromLatin1(text, size));
    }
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

    // Completes the document. Throws Serialize::Error when it cannot (too large for the array).
    virtual void finish() {}
};

// The largest archive that a byte array holds (QByteArray stops a little short of 2 GiB).
constexpr qint64 kMaxArchiveBytes = qint64(2147483647) - 4096;

// While one lives, archives made by MakeFormatter are bounded by a smaller size: so that tests
// reach the too-large path without gigabytes. One at a time, on one thread.
class ArchiveSizeLimit {
public:
    explicit ArchiveSizeLimit(qint64 maxBytes);
    ~ArchiveSizeLimit();
    ArchiveSizeLimit(const ArchiveSizeLimit&) = delete;
    ArchiveSizeLimit& operator=(const ArchiveSizeLimit&) = delete;

    // The bound in force: kMaxArchiveBytes unless an ArchiveSizeLimit lives.
    static qint64 current();

private:
    qint64 m_previous;
};

// Makes a formatter that writes into `out`, handing images and blobs to `receiver`. Both must
// outlive the formatter.
std::unique_ptr<IFormatter> MakeFormatter(QByteArray& out, IContentReceiver& receiver,
                                          Format format);

}  // namespace Serialize
