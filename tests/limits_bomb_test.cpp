// Packages built to exhaust a reader: zip bombs and oversized stored items. Every reader (verify,
// inspect, open, the library's opener and the archive check) refuses them, naming the entry.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zip.h>
#include <zlib.h>

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <memory>
#include <vector>

#include "platform/bundle/package_reader.h"
#include "platform/bundle/zip.h"
#include "test_support.h"

namespace {

using testing::HasSubstr;
using TestSupport::tool;

// Deflated data of `mebibytes` MiB of zeros, made without compressing them all: after the first
// MiB, the deflate blocks of every further MiB are the same bytes, since they only refer back to
// zeros. So a test can hold gigabytes of zeros in a few megabytes, cheaply.
struct Deflated {
    QByteArray data;
    quint32 crc = 0;
    quint32 size = 0;
};

QByteArray deflateStep(z_stream& stream, const QByteArray& input, int flush) {
    QByteArray out;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.constData()));
    stream.avail_in = uInt(input.size());
    char buffer[65536];
    do {
        stream.next_out = reinterpret_cast<Bytef*>(buffer);
        stream.avail_out = sizeof buffer;
        EXPECT_NE(deflate(&stream, flush), Z_STREAM_ERROR);
        out.append(buffer, int(sizeof buffer - stream.avail_out));
    } while (stream.avail_out == 0);
    return out;
}

Deflated zeros(int mebibytes) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY), Z_OK);
    const QByteArray chunk(1 << 20, '\0');
    Deflated result;
    result.data = deflateStep(stream, chunk, Z_SYNC_FLUSH);
    const QByteArray steady = mebibytes > 1 ? deflateStep(stream, chunk, Z_SYNC_FLUSH) : "";
    result.data += steady.repeated(mebibytes - 1) + deflateStep(stream, QByteArray(), Z_FINISH);
    deflateEnd(&stream);
    const uLong chunkCrc =
        crc32(0, reinterpret_cast<const Bytef*>(chunk.constData()), uInt(chunk.size()));
    uLong crc = chunkCrc;
    for (int i = 1; i < mebibytes; ++i)
        crc = crc32_combine(crc, chunkCrc, chunk.size());
    result.crc = quint32(crc);
    result.size = quint32(qint64(mebibytes) << 20);
    return result;
}

// A zip file written field by field, for entries whose deflated data the test made itself.
class RawZip {
public:
    void add(const QByteArray& name, const Deflated& entry) {
        const quint32 offset = quint32(m_body.size());
        QDataStream local(&m_body, QIODevice::Append);
        local.setByteOrder(QDataStream::LittleEndian);
        local << quint32(0x04034b50) << quint16(20) << quint16(0) << quint16(8) << quint16(0)
              << quint16(0x21) << entry.crc << quint32(entry.data.size()) << entry.size
              << quint16(name.size()) << quint16(0);
        local.writeRawData(name.constData(), name.size());
        local.writeRawData(entry.data.constData(), entry.data.size());

        QDataStream central(&m_central, QIODevice::Append);
        central.setByteOrder(QDataStream::LittleEndian);
        central << quint32(0x02014b50) << quint16(0x0314) << quint16(20) << quint16(0) << quint16(8)
                << quint16(0) << quint16(0x21) << entry.crc << quint32(entry.data.size())
                << entry.size << quint16(name.size()) << quint16(0) << quint16(0) << quint16(0)
                << quint16(0) << quint32(0100644u << 16) << offset;
        central.writeRawData(name.constData(), name.size());
        ++m_count;
    }

    void save(const QString& path) const {
        QByteArray end;
        QDataStream out(&end, QIODevice::WriteOnly);
        out.setByteOrder(QDataStream::LittleEndian);
        out << quint32(0x06054b50) << quint16(0) << quint16(0) << quint16(m_count)
            << quint16(m_count) << quint32(m_central.size()) << quint32(m_body.size())
            << quint16(0);
        TestSupport::writeFile(path, m_body + m_central + end);
    }

private:
    QByteArray m_body;
    QByteArray m_central;
    int m_count = 0;
};

// One hostile package and what every reader must say of it.
struct Bomb {
    const char* name;
    std::function<void(const QString&)> make;
    QString entry;   // the entry that every refusal names
    QString reason;  // part of every refusal
};

std::vector<Bomb> bombs() {
    return {
        {"one entry of 2 GiB in 2 MB",
         [](const QString& path) {
             RawZip zip;
             zip.add("resources/zeros.bin", zeros(2047));
             zip.save(path);
         },
         "resources/zeros.bin", "expands more than 1000 times"},
        {"entries of 1 MiB each, every one within the entry limits",
         [](const QString& path) {
             RawZip zip;
             const Deflated mebibyte = zeros(1);
             for (int i = 0; i < 100; ++i)
                 zip.add(QStringLiteral("resources/%1.bin").arg(i, 3, 10, QChar('0')).toUtf8(),
                         mebibyte);
             zip.save(path);
         },
         "resources/064.bin", "takes the archive past 100 times its own size"},
    };
}

TEST(Limits, ZipBombsAreRefusedByEveryReaderNamingTheEntry) {
    for (const Bomb& bomb : bombs()) {
        SCOPED_TRACE(bomb.name);
        QTemporaryDir dir;
        const QString package = dir.filePath("bomb.qpack");
        bomb.make(package);
        ASSERT_LT(QFileInfo(package).size(), 3 << 20);

        // The archive check stops at the entry instead of reading it to its end.
        const auto problems = Bundle::Zip::checkEntries(package);
        ASSERT_EQ(problems.size(), 1u) << problems.front().text.toStdString();
        EXPECT_EQ(problems.front().entry, bomb.entry);
        EXPECT_THAT(problems.front().text.toStdString(), HasSubstr(bomb.reason.toStdString()));

        const auto verified = tool({"verify", package, "--json"});
        EXPECT_EQ(verified.code, 1);
        const QJsonArray found =
            QJsonDocument::fromJson(verified.output.toUtf8())["problems"].toArray();
        ASSERT_FALSE(found.isEmpty()) << verified.output.toStdString();
        EXPECT_EQ(found[0]["check"].toString(), "archive");
        EXPECT_EQ(found[0]["place"].toString(), bomb.entry);
        EXPECT_THAT(found[0]["message"].toString().toStdString(),
                    HasSubstr(bomb.reason.toStdString()));

        const QString into = dir.filePath("into");
        for (const QStringList& command :
             {QStringList{"inspect", package}, QStringList{"open", package, "--into", into}}) {
            const auto refused = tool(command);
            EXPECT_EQ(refused.code, 1) << command.front().toStdString();
            EXPECT_THAT(refused.errors.toStdString(), HasSubstr(bomb.entry.toStdString()));
            EXPECT_THAT(refused.errors.toStdString(), HasSubstr(bomb.reason.toStdString()));
        }

        const std::string opened =
            TestSupport::errorFrom([&] { Bundle::openPackage(package, dir.filePath("opened")); });
        EXPECT_THAT(opened, HasSubstr(bomb.entry.toStdString()));
        EXPECT_THAT(opened, HasSubstr(bomb.reason.toStdString()));
        EXPECT_EQ(
            QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden),
            QStringList{"bomb.qpack"});
    }
}

// A copy of `package` whose first stored item is its own text followed by spaces up to one byte
// past the stored-item limit: still a well-formed item, but larger than a reader may take in.
// Stored, not deflated, so that only the item limit can refuse it.
QString withOversizedItem(const QString& package, const QString& copy) {
    EXPECT_TRUE(QFile::copy(package, copy));
    QString itemName;
    for (const QString& name : TestSupport::zipEntries(package)) {
        if (name.endsWith("/item.xml") && itemName.isEmpty())
            itemName = name;
    }
    QByteArray item = TestSupport::zipEntry(package, itemName);
    item += QByteArray(int(Bundle::ReadLimits().maxItemBytes) + 1 - item.size(), ' ');
    int code = 0;
    zip_t* zip = zip_open(QFile::encodeName(copy).constData(), 0, &code);
    const zip_int64_t index = zip_name_locate(zip, itemName.toUtf8().constData(), 0);
    zip_source_t* source = zip_source_buffer(zip, item.constData(), zip_uint64_t(item.size()), 0);
    EXPECT_EQ(zip_file_replace(zip, zip_uint64_t(index), source, 0), 0);
    EXPECT_EQ(zip_set_file_compression(zip, zip_uint64_t(index), ZIP_CM_STORE, 0), 0);
    EXPECT_EQ(zip_close(zip), 0);
    return itemName;
}

TEST(Limits, AStoredItemLargerThanTheLimitIsRefusedByInspectAndVerify) {
    QTemporaryDir dir;
    const QString example = dir.filePath("example.qpack");
    ASSERT_EQ(tool({"build", QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/recipe.json"), "-o",
                    example})
                  .code,
              0);
    const QString package = dir.filePath("large-item.qpack");
    const QString item = withOversizedItem(example, package);
    const std::string limit = QStringLiteral("larger than the limit of %1 bytes")
                                  .arg(Bundle::ReadLimits().maxItemBytes)
                                  .toStdString();

    const auto inspected = tool({"inspect", package});
    EXPECT_EQ(inspected.code, 1);
    EXPECT_THAT(inspected.errors.toStdString(), HasSubstr(item.toStdString()));
    EXPECT_THAT(inspected.errors.toStdString(), HasSubstr(limit));

    const auto verified = tool({"verify", package, "--json"});
    EXPECT_EQ(verified.code, 1);
    const QJsonArray problems =
        QJsonDocument::fromJson(verified.output.toUtf8())["problems"].toArray();
    const auto refused = std::find_if(problems.begin(), problems.end(), [&](const QJsonValue& p) {
        return p["check"].toString() == "item" && p["message"].toString().startsWith(item) &&
               p["message"].toString().contains(QString::fromStdString(limit));
    });
    EXPECT_NE(refused, problems.end()) << verified.output.toStdString();
}

}  // namespace
