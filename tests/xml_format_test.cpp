#include <gtest/gtest.h>

#include <QLocale>
#include <QPainter>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "platform/serialize/archive.h"
#include "platform/serialize/cloner.h"
#include "platform/serialize/collections.h"
#include "platform/serialize/error.h"
#include "platform/serialize/serializer.h"
#include "platform/serialize/type_registry.h"
#include "platform/serialize/value_type.h"

namespace {

// A record that holds one value of every kind the format knows, nested objects included.
class Sample : public Serialize::ISerializable {
public:
    bool flag = false;
    qint32 small = 0;
    qint64 large = 0;
    double number = 0;
    QString text;
    Types::Image image;
    std::vector<QString> list;
    Sample* child = nullptr;  // owned by whoever made it (a storage when read)
    QString baseText;         // written in a section, as a base class's body is

    std::string typeName() const override { return "Test::Sample"; }
    void Serialize(Serialize::ISerializer& s) const override {
        s.key("BaseOfObject");
        s.beginSection();
        s.write("baseText", baseText);
        s.endSection();
        s.write("flag", flag);
        s.write("small", small);
        s.write("large", large);
        s.write("number", number);
        s.write("text", text);
        s.write("image", image);
        Serialize::writeStringArray(s, "list", list);
        s.write("child", child);
    }
    void Deserialize(Serialize::IDeserializer& d) override {
        d.key("BaseOfObject");
        d.beginSection();
        d.read("baseText", baseText);
        d.endSection();
        d.read("flag", flag);
        d.read("small", small);
        d.read("large", large);
        d.read("number", number);
        d.read("text", text);
        d.read("image", image);
        list.clear();
        d.key("list");
        const qint64 count = d.beginArray();
        for (qint64 i = 0; i < count; ++i) {
            d.beginElement();
            QString value;
            d.read("Data", value);
            list.push_back(value);
            d.endElement();
        }
        d.endArray();
        d.key("child");
        child = dynamic_cast<Sample*>(d.adoptObject());
    }
};

const Serialize::RegisterType<Sample> registerSample("Test::Sample");

Sample readBack(const QByteArray& data, Serialize::MemoryContent& content,
                Serialize::ObjectStorage& storage) {
    Sample result;
    Serialize::readArchive(data, "sample.xml", result, content, storage);
    return result;
}

// The message of the error that reading `xml` raises, or an empty string when it reads.
std::string readError(const QByteArray& xml) {
    Serialize::MemoryContent content;
    Serialize::ObjectStorage storage;
    try {
        readBack(xml, content, storage);
    } catch (const Serialize::Error& error) {
        return error.what();
    }
    return std::string();
}

}  // namespace

TEST(XmlFormat, EveryValueRoundTripsExactly) {
    const double inf = std::numeric_limits<double>::infinity();
    const double doubles[] = {
        0.0,    -0.0,     0.1, 1.0 / 3.0, 1e308,
        5e-324, -2.5e-10, inf, -inf,      std::numeric_limits<double>::quiet_NaN()};
    const QString loneSurrogate(QChar(0xD800));
    const QString texts[] = {QString(),    " spaced  ",        "Grüße, 東京 🎬",
                             "<&>\"'",     "line\nbreak\ttab", "carriage\rreturn \x01 control",
                             loneSurrogate};
    for (double number : doubles) {
        for (const QString& text : texts) {
            Sample sample;
            sample.flag = true;
            sample.small = std::numeric_limits<qint32>::min();
            sample.large = std::numeric_limits<qint64>::max();
            sample.number = number;
            sample.text = text;
            sample.baseText = text;
            sample.list = {"a", QString(), text};
            Serialize::MemoryContent content;
            Serialize::ObjectStorage storage;
            const Sample back =
                readBack(Serialize::writeArchive(sample, content), content, storage);
            EXPECT_EQ(std::tie(back.flag, back.small, back.large),
                      std::tie(sample.flag, sample.small, sample.large));
            if (std::isnan(number)) {
                EXPECT_TRUE(std::isnan(back.number));
            } else {
                EXPECT_EQ(back.number, number);
                EXPECT_EQ(std::signbit(back.number), std::signbit(number));
            }
            EXPECT_EQ(back.text, text);
            EXPECT_EQ(back.baseText, text);
            EXPECT_EQ(back.list, sample.list);
            EXPECT_EQ(back.child, nullptr);
        }
    }
}

TEST(XmlFormat, NestedObjectsAndImagesRoundTripInReadableXmlWithTypedKeys) {
    Sample inner;
    inner.large = 9007199254740993;  // not representable as a double
    inner.image = Types::Image(3, 2);
    inner.image.fill(Qt::red);
    Sample outer;
    outer.list = {"x"};
    outer.child = &inner;

    Serialize::MemoryContent content;
    const QByteArray xml = Serialize::writeArchive(outer, content);
    for (const char* part :
         {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>", "<root t=\"obj\" class=\"Test::Sample\">",
          "<list t=\"array\" count=\"1\">", "<e n=\"1\">",
          "<child t=\"obj\" class=\"Test::Sample\">", "<large t=\"i64\">9007199254740993</large>",
          "<child t=\"null\"/>"})
        EXPECT_TRUE(xml.contains(part)) << part;
    EXPECT_TRUE(xml.startsWith("<?xml"));

    Serialize::ObjectStorage storage;
    const Sample back = readBack(xml, content, storage);
    ASSERT_NE(back.child, nullptr);
    EXPECT_EQ(back.child->large, inner.large);
    EXPECT_EQ(back.child->image.size(), QSize(3, 2));
    EXPECT_EQ(back.child->image.toImage().pixelColor(1, 1), QColor(Qt::red));
    EXPECT_TRUE(back.image.isNull());
    EXPECT_EQ(storage.size(), 1u);
}

TEST(XmlFormat, MalformedAndForeignInputIsRejectedWithItsPlace) {
    Sample sample;
    sample.text = "plain";
    Serialize::MemoryContent content;
    const QByteArray valid = Serialize::writeArchive(sample, content);
    ASSERT_EQ(readError(valid), "");
    // The valid archive with one part of it replaced.
    const auto with = [&valid](const char* part, const QByteArray& replacement) {
        EXPECT_TRUE(valid.contains(part)) << part;
        return QByteArray(valid).replace(part, replacement);
    };
    const char* small = "<small t=\"i32\">0</small>";
    const char* flag = "<flag t=\"bool\">false</flag>";
    const char* child = "<child t=\"null\"/>";
    QByteArray deep =
        "<?xml version=\"1.0\"?><archive format=\"0\"><root t=\"obj\" class=\"Test::Sample\">";
    for (int i = 0; i < 500; ++i)
        deep += "<s t=\"sec\">";

    const struct {
        const char* what;
        QByteArray xml;
        const char* expected;  // a part of the message
    } cases[] = {
        {"empty", QByteArray(), "the document ends too early"},
        {"not XML", "just text", "malformed XML"},
        {"truncated", valid.left(valid.size() / 2), "malformed XML"},
        {"other root", "<?xml version=\"1.0\"?><html/>", "not an archive"},
        {"other format", with("format=\"0\"", "format=\"7\""), "unsupported archive format"},
        {"wrong value type", with(small, "<small t=\"str\">0</small>"),
         "key 'small': expected i32, found str"},
        {"bad integer", with(small, "<small t=\"i32\">12abc</small>"), "not a 32-bit integer"},
        {"integer overflow", with(small, "<small t=\"i32\">4294967296</small>"),
         "not a 32-bit integer"},
        {"bad bool", with(flag, "<flag t=\"bool\">yes</flag>"), "not a bool"},
        {"missing key", with(flag, ""), "key 'flag': missing"},
        {"extra key", with(child, "<child t=\"null\"/><extra t=\"bool\">true</extra>"),
         "key 'extra': unexpected"},
        {"foreign root type", with("class=\"Test::Sample\"", "class=\"Test::Other\""),
         "holds a 'Test::Other' where a 'Test::Sample' belongs"},
        {"unknown type", with(child, "<child t=\"obj\" class=\"No::Such\"/>"),
         "unknown type 'No::Such'"},
        {"count mismatch",
         with("<list t=\"array\" count=\"0\"/>", "<list t=\"array\" count=\"1000000000\"/>"),
         "announces 1000000000 elements but holds 0"},
        {"internal entities",
         with("<archive", "<!DOCTYPE archive [<!ENTITY a \"aaaaaaaa\">]><archive"),
         "document type declarations are not allowed"},
        {"external entities",
         with("<archive", "<!DOCTYPE archive [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><archive"),
         "document type declarations are not allowed"},
        {"undeclared entity",
         with("<text t=\"str\">plain</text>", "<text t=\"str\">&undeclared;</text>"),
         "malformed XML"},
        {"deep nesting", deep, "nested deeper than"},
    };
    for (const auto& c : cases) {
        const std::string message = readError(c.xml);
        EXPECT_NE(message.find(c.expected), std::string::npos)
            << c.what << ": got \"" << message << "\", expected a message with \"" << c.expected
            << "\"";
        if (c.xml.size() > 0 && std::string(c.what) != "not XML") {
            EXPECT_EQ(message.rfind("sample.xml:", 0), 0u) << c.what << ": " << message;
        }
    }

    // Messages name the line of the fault.
    const QByteArray badLine = with(small, "<small t=\"i32\">zero</small>");
    const int line = badLine.left(badLine.indexOf("<small")).count('\n') + 1;
    EXPECT_NE(readError(badLine).find("sample.xml:" + std::to_string(line) + ": key 'small'"),
              std::string::npos)
        << readError(badLine);
}

TEST(XmlFormat, SerializerRefusesBrokenStructure) {
    // An object that announces more elements than it writes must not produce an archive.
    class Liar : public Serialize::ISerializable {
    public:
        std::string typeName() const override { return "Test::Liar"; }
        void Serialize(Serialize::ISerializer& s) const override {
            s.key("values");
            s.beginArray(2);
            s.beginElement();
            s.write("Data", QStringLiteral("only one"));
            s.endElement();
            s.endArray();
        }
        void Deserialize(Serialize::IDeserializer&) override {}
    };
    Serialize::MemoryContent content;
    EXPECT_THROW(Serialize::writeArchive(Liar(), content), Serialize::Error);

    class BadKey : public Liar {
    public:
        void Serialize(Serialize::ISerializer& s) const override { s.write("not a key", true); }
    };
    EXPECT_THROW(Serialize::writeArchive(BadKey(), content), Serialize::Error);
}

TEST(XmlFormat, ClonerMakesIndependentCopies) {
    Sample inner;
    inner.text = "inner";
    Sample outer;
    outer.number = std::numeric_limits<double>::quiet_NaN();
    outer.child = &inner;

    Serialize::ObjectStorage storage;
    Sample* clone = Serialize::Cloner().clone(&outer, storage);
    ASSERT_NE(clone, nullptr);
    ASSERT_NE(clone->child, nullptr);
    EXPECT_NE(clone->child, &inner);
    EXPECT_EQ(clone->child->text, "inner");
    EXPECT_TRUE(std::isnan(clone->number));
    clone->child->text = "changed";
    EXPECT_EQ(inner.text, "inner");

    EXPECT_EQ(Serialize::Cloner().cloneImpl(nullptr, storage), nullptr);
}

TEST(XmlFormat, EveryRegisteredTypeReportsItsRegisteredName) {
    for (const std::string& name : Serialize::TypeRegistry::global().typeNames()) {
        const auto object = Serialize::TypeRegistry::global().create(name);
        ASSERT_NE(object, nullptr) << name;
        EXPECT_EQ(object->typeName(), name);
    }
}

TEST(XmlFormat, DoublesAreWrittenInQtsShortestFormAndIndentedArchivesReadTheSame) {
    // The text of every double is the one QString::number(v, 'g', shortest) gives, which archives
    // always held: decimal up to an exponent of digits + 4, scientific beyond and below 1e-4.
    std::mt19937_64 random(12);
    std::vector<double> values = {1e-5,
                                  1e-4,
                                  100000,
                                  1e6,
                                  1.5e6,
                                  1.5e7,
                                  123456700000.0,
                                  1e21,
                                  5e-324,
                                  2.2250738585072014e-308,
                                  1.7976931348623157e308};
    for (int i = 0; i < 200000; ++i) {
        const quint64 bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isfinite(value) && value != 0)
            values.push_back(value);
        values.push_back(double(qint64(bits >> 20)) / 1000.0);
    }
    for (double value : values)
        ASSERT_EQ(Serialize::formatDouble(value),
                  QString::number(value, 'g', QLocale::FloatingPointShortest));

    // Archives are written without indentation; an indented one reads the same.
    Sample sample;
    sample.number = 0.1;
    sample.list = {"a", "b"};
    sample.text = "  spaced  ";
    Serialize::MemoryContent content;
    const QByteArray flat = Serialize::writeArchive(sample, content);
    EXPECT_FALSE(flat.contains("\n "));
    QByteArray indented;
    int depth = 0;
    for (const QByteArray& line : flat.split('\n')) {
        if (line.startsWith("</"))
            --depth;
        indented += QByteArray(4 * std::max(depth, 0), ' ') + line + '\n';
        if (line.startsWith('<') && !line.startsWith("</") && !line.startsWith("<?") &&
            !line.endsWith("/>") && !line.contains("</"))
            ++depth;
    }
    Serialize::ObjectStorage storage;
    const Sample back = readBack(indented, content, storage);
    EXPECT_EQ(back.text, sample.text);
    EXPECT_EQ(back.list, sample.list);
    EXPECT_EQ(back.number, 0.1);
    EXPECT_TRUE(indented.contains("\n                <Data t=\"str\">a</Data>"))
        << indented.toStdString();
}
