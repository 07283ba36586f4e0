// `finalize` of damaged intermediate overlays: a project or a preview that cannot be read within
// the limits is refused with a message naming it, and nothing is written.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <QDataStream>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <functional>
#include <memory>

#include "platform/bundle/image_file.h"
#include "platform/bundle/zip.h"
#include "test_support.h"

namespace {

using testing::HasSubstr;
using TestSupport::tool;

// One PNG chunk: length, type, data and the CRC of type and data.
QByteArray pngChunk(const QByteArray& type, const QByteArray& data) {
    QByteArray chunk;
    QDataStream out(&chunk, QIODevice::WriteOnly);
    out << quint32(data.size());
    const QByteArray body = type + data;
    out.writeRawData(body.constData(), body.size());
    out << quint32(crc32(0, reinterpret_cast<const Bytef*>(body.constData()), uInt(body.size())));
    return chunk;
}

// A PNG whose header declares `width` x `height` pixels, with one tiny row of data: a few hundred
// bytes that a decoder would turn into width x height x 4 bytes of memory.
QByteArray pngClaiming(quint32 width, quint32 height) {
    QByteArray header;
    QDataStream out(&header, QIODevice::WriteOnly);
    out << width << height << quint8(8) << quint8(6) << quint8(0) << quint8(0) << quint8(0);
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + pngChunk("IHDR", header) +
           pngChunk("IDAT", qCompress(QByteArray(64, '\0')).mid(4)) + pngChunk("IEND", "");
}

class FinalizeDamaged : public testing::Test {
protected:
    static void SetUpTestSuite() {
        area = std::make_unique<QTemporaryDir>();
        editable = area->filePath("editable.qpack");
        const auto built =
            tool({"build", QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/editable-title.json"),
                  "-o", editable});
        ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    }
    static void TearDownTestSuite() { area.reset(); }

    // A copy of the editable package, changed by `edit` in its unpacked folder.
    QString damaged(const std::function<void(const QString& folder)>& edit) {
        const QString folder = dir.filePath("unpacked");
        Bundle::Zip::extractAll(editable, folder);
        edit(folder);
        const QString copy = dir.filePath("damaged.qpack");
        Bundle::Zip::compressAll(copy, folder);
        QDir(folder).removeRecursively();
        return copy;
    }

    static QString introBundle(const QString& folder) {
        QDirIterator it(folder, {"intro.bundle"}, QDir::Files, QDirIterator::Subdirectories);
        EXPECT_TRUE(it.hasNext()) << "no intro.bundle in the package";
        return it.hasNext() ? it.next() : QString();
    }

    static std::unique_ptr<QTemporaryDir> area;
    static QString editable;
    QTemporaryDir dir;
};

std::unique_ptr<QTemporaryDir> FinalizeDamaged::area;
QString FinalizeDamaged::editable;

TEST_F(FinalizeDamaged, RefusesAndWritesNothing) {
    const auto replaceBundle = [](const QByteArray& data) {
        return [data](const QString& folder) { TestSupport::writeFile(introBundle(folder), data); };
    };
    // A real zip that holds a file that is not a project.
    const auto bundleOf = [](const QByteArray& project) {
        return [project](const QString& folder) {
            QTemporaryDir work;
            TestSupport::writeFile(work.filePath("b/project.xml"), project);
            const QString bundle = introBundle(folder);
            QFile::remove(bundle);
            Bundle::Zip::compressAll(bundle, work.filePath("b"));
        };
    };
    const struct {
        const char* name;
        std::function<void(const QString&)> edit;
        const char* message;
    } cases[] = {
        {"intro bundle missing", [](const QString& f) { QFile::remove(introBundle(f)); },
         "intro.bundle is missing"},
        {"intro bundle garbage", replaceBundle("this is no zip file"),
         "intro.bundle cannot be read: "},
        {"intro bundle empty", replaceBundle(""), "intro.bundle cannot be read: "},
        {"project not XML", bundleOf("\x01\x02 not a project"), "intro.bundle cannot be read: "},
        {"project of another type", bundleOf("<archive/>"), "intro.bundle cannot be read: "},
        {"preview 20000 x 20000",
         [](const QString& f) {
             TestSupport::writeFile(f + "/preview.png", pngClaiming(20000, 20000));
         },
         "preview.png: the image is 20000 x 20000 pixels, larger than the limit"},
        {"preview 100000 x 1",
         [](const QString& f) {
             TestSupport::writeFile(f + "/preview.png", pngClaiming(100000, 1));
         },
         "preview.png: the image is 100000 x 1 pixels"},
        {"preview undecodable",
         [](const QString& f) { TestSupport::writeFile(f + "/preview.png", "GIF89a garbage"); },
         "preview.png: is not a readable image"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const QString package = damaged(c.edit);
        const QString out = dir.filePath("out");
        const auto finalized = tool({"finalize", package, "-C", out});
        EXPECT_EQ(finalized.code, 1) << finalized.output.toStdString();
        EXPECT_THAT(finalized.errors.toStdString(), HasSubstr(c.message));
        EXPECT_THAT(finalized.errors.toStdString(), HasSubstr("nothing was finalized"));
        EXPECT_EQ(finalized.errors.count('\n'), 1) << finalized.errors.toStdString();
        EXPECT_FALSE(QFileInfo::exists(out));
        EXPECT_EQ(finalized.output, "");
    }
}

TEST(ImageLimits, TheSizeIsCheckedFromTheHeaderBeforeDecoding) {
    QTemporaryDir dir;
    const QString path = dir.filePath("claims.png");
    Bundle::ReadLimits limits;
    limits.maxImageSide = 100;
    limits.maxImagePixels = 2500;
    const struct {
        quint32 width, height;
        bool accepted;
    } cases[] = {
        {100, 25, true}, {50, 50, true}, {101, 1, false}, {1, 101, false}, {51, 50, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << " x " << c.height);
        TestSupport::writeFile(path, pngClaiming(c.width, c.height));
        const std::string error =
            TestSupport::errorFrom([&] { Bundle::checkedImageSize(path, limits); });
        EXPECT_EQ(error.empty(), c.accepted) << error;
        if (!c.accepted) {
            EXPECT_THAT(error, HasSubstr("larger than the limit"));
        }
    }
}

}  // namespace
