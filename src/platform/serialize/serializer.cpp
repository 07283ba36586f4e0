#include "platform/serialize/serializer.h"

#include <charconv>
#include <vector>

#include "platform/serialize/error.h"

namespace Serialize {

// [A-Za-z_][A-Za-z0-9_.-]*, not starting with "xml" in any case. Checked for every value written,
// so by hand rather than by a regular expression.
bool isValidKey(const QString& name) {
    const QChar* chars = name.constData();
    const int size = name.size();
    if (size == 0)
        return false;
    for (int i = 0; i < size; ++i) {
        const ushort c = chars[i].unicode();
        const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
        const bool later = (c >= '0' && c <= '9') || c == '.' || c == '-';
        if (!letter && (i == 0 || !later))
            return false;
    }
    return !name.startsWith(QLatin1String("xml"), Qt::CaseInsensitive);
}

namespace {

class Serializer : public ISerializer {
public:
    explicit Serializer(IFormatter& formatter) : m_formatter(formatter) {}

    void serialize(const ISerializable& root) override {
        if (!m_frames.empty() || m_rootWritten)
            throw Error(QStringLiteral("serialize() called twice or while writing"));
        m_rootWritten = true;
        m_keyPending = true;
        m_pendingKey = QStringLiteral("root");
        writeObject(&root);
        m_keyPending = false;
    }

    void key(const QString& name) override {
        if (!isValidKey(name))
            throw Error(QStringLiteral("'%1' is not a valid key").arg(name));
        if (m_frames.empty())
            throw Error(name, 0, QString(), QStringLiteral("key outside of an object"));
        if (m_frames.back().kind == Frame::Array)
            throw Error(QString(), 0, name,
                        QStringLiteral("key directly inside an array; begin an element first"));
        if (m_keyPending)
            throw Error(QString(), 0, m_pendingKey,
                        QStringLiteral("key announced without a value"));
        m_keyPending = true;
        m_pendingKey = name;
        m_formatter.key(name);
    }

    void writeBool(bool value) override {
        takeKey();
        if (value)
            m_formatter.asciiScalar(ValueType::Bool, "true", 4);
        else
            m_formatter.asciiScalar(ValueType::Bool, "false", 5);
    }
    void writeInt32(qint32 value) override { integer(ValueType::Int32, value); }
    void writeInt64(qint64 value) override { integer(ValueType::Int64, value); }
    void writeDouble(double value) override {
        takeKey();
        char text[kMaxDoubleText];
        m_formatter.asciiScalar(ValueType::Double, text, formatDoubleTo(value, text));
    }
    void writeString(const QString& value) override { scalar(ValueType::String, value); }
    void writeImage(const Types::Image& value) override {
        takeKey();
        const QString name =
            value.isNull() ? QString() : m_formatter.contentReceiver().PutImage(value);
        m_formatter.scalar(ValueType::Image, name);
    }
    void writeBlob(const QByteArray& value) override {
        takeKey();
        m_formatter.scalar(ValueType::Blob, m_formatter.contentReceiver().PutBlob(value));
    }

    void writeObject(const ISerializable* object) override {
        takeKey();
        if (!object) {
            m_formatter.nullObject();
            return;
        }
        if (m_frames.size() >= kMaxDepth)
            throw Error(QStringLiteral("objects nested deeper than %1 levels").arg(kMaxDepth));
        m_formatter.beginObject(QString::fromStdString(object->typeName()));
        m_frames.push_back({Frame::Object, 0, 0});
        object->Serialize(*this);
        closeFrame(Frame::Object);
        m_formatter.endObject();
    }

    void beginSection() override {
        takeKey();
        m_formatter.beginSection();
        m_frames.push_back({Frame::Section, 0, 0});
    }
    void endSection() override {
        closeFrame(Frame::Section);
        m_formatter.endSection();
    }

    void beginArray(qint64 count) override {
        if (count < 0)
            throw Error(QString(), 0, m_pendingKey, QStringLiteral("negative array count"));
        takeKey();
        m_formatter.beginArray(count);
        m_frames.push_back({Frame::Array, count, 0});
    }
    void beginElement() override {
        if (m_frames.empty() || m_frames.back().kind != Frame::Array)
            throw Error(QStringLiteral("array element outside of an array"));
        Frame& array = m_frames.back();
        if (array.written == array.count)
            throw Error(
                QStringLiteral("array holds more elements than its count %1").arg(array.count));
        ++array.written;
        m_formatter.beginElement(array.written);
        m_frames.push_back({Frame::Element, 0, 0});
    }
    void endElement() override {
        closeFrame(Frame::Element);
        m_formatter.endElement();
    }
    void endArray() override {
        if (!m_frames.empty() && m_frames.back().kind == Frame::Array &&
            m_frames.back().written != m_frames.back().count) {
            throw Error(QStringLiteral("array announced %1 elements but holds %2")
                            .arg(m_frames.back().count)
                            .arg(m_frames.back().written));
        }
        closeFrame(Frame::Array);
        m_formatter.endArray();
    }

private:
    static constexpr size_t kMaxDepth = 256;

    struct Frame {
        enum Kind { Object, Section, Array, Element } kind;
        qint64 count;
        qint64 written;
    };

    void takeKey() {
        if (!m_keyPending)
            throw Error(QStringLiteral("value written without announcing its key"));
        m_keyPending = false;
    }

    void integer(ValueType type, qint64 value) {
        takeKey();
        char text[24];
        const char* end = std::to_chars(text, text + sizeof text, value).ptr;
        m_formatter.asciiScalar(type, text, int(end - text));
    }

    void scalar(ValueType type, const QString& text) {
        takeKey();
        m_formatter.scalar(type, text);
    }

    void closeFrame(Frame::Kind kind) {
        if (m_frames.empty() || m_frames.back().kind != kind)
            throw Error(QStringLiteral("unbalanced end of object, section, array or element"));
        if (m_keyPending)
            throw Error(QString(), 0, m_pendingKey,
                        QStringLiteral("key announced without a value"));
        m_frames.pop_back();
    }

    IFormatter& m_formatter;
    std::vector<Frame> m_frames;
    bool m_keyPending = false;
    bool m_rootWritten = false;
    QString m_pendingKey;
};

}  // namespace

std::unique_ptr<ISerializer> ISerializer::MakeSerializer(IFormatter& formatter) {
    return std::make_unique<Serializer>(formatter);
}

}  // namespace Serialize
