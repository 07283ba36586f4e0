// `ls` and `extract`: a package read in place, one entry taken out.

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "test_support.h"

namespace {

using TestSupport::tool;

const QString kExamples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/");

// The bundled example, with the stored bytes of its beach clip damaged in the archive: a reader
// that read the media would fail on its CRC.
QString damagedExample(const QTemporaryDir& dir) {
    const QString package = dir.filePath("example.qpack");
    const auto built = tool({"build", kExamples + "recipe.json", "-o", package});
    EXPECT_EQ(built.code, 0) << built.errors.toStdString();
    QByteArray bytes = TestSupport::readFile(package);
    const QByteArray clip = TestSupport::readFile(kExamples + "media/beach.mp4");
    const int at = bytes.indexOf(clip.mid(4096, 64));
    EXPECT_GT(at, 0);
    bytes[at] = char(~bytes[at]);
    TestSupport::writeFile(package, bytes);
    return package;
}

}  // namespace

// Every item and resource is listed from the archive as it is, media unread: the damaged clip
// does not stop ls, which an unpacking reader cannot say.
TEST(Ls, ListsItemsAndResourcesWithoutReadingMedia) {
    QTemporaryDir dir;
    const QString package = damagedExample(dir);
    EXPECT_NE(tool({"inspect", package}).code, 0);

    const auto listed = tool({"ls", package});
    ASSERT_EQ(listed.code, 0) << listed.errors.toStdString();
    for (const char* line :
         {"  name: Summer Essentials", "effects: 2", "Effect::Lut \"Warm Afternoon\"",
          "    resources/warm-afternoon.cube  kind 4  1875 bytes\n",
          "Transition::Overlay \"Summer Essentials\"", "resources/sunset.jpg  location  2485 bytes",
          "Import::Object \"City Timelapse\"", "presets: 0"})
        EXPECT_TRUE(listed.output.contains(line)) << line << "\n" << listed.output.toStdString();

    const auto json = tool({"ls", package, "--json"});
    ASSERT_EQ(json.code, 0);
    const QJsonObject document = QJsonDocument::fromJson(json.output.toUtf8()).object();
    const QJsonArray effects = document["addOns"].toObject()["effects"].toArray();
    ASSERT_EQ(effects.size(), 2);
    EXPECT_EQ(effects[1].toObject()["title"].toString(), "Soft Vignette");
    const QJsonArray resources = effects[1].toObject()["resources"].toArray();
    ASSERT_EQ(resources.size(), 2);
    EXPECT_EQ(resources[1].toObject()["path"].toString(), "resources/grain.png");
    EXPECT_EQ(resources[1].toObject()["size"].toInt(),
              TestSupport::readFile(kExamples + "effects/grain.png").size());
    EXPECT_TRUE(resources[1].toObject()["stored"].toBool());

    TestSupport::writeFile(dir.filePath("not.qpack"), "not a zip");
    const auto refused = tool({"ls", dir.filePath("not.qpack")});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(refused.errors.contains("not.qpack: not a readable package"))
        << refused.errors.toStdString();
}

// An item by its place or folder, a resource by its name: the bytes as they were packed. An
// existing file stays unless --force; names that climb out, a damaged entry and unknown names are
// refused, and nothing is left behind.
TEST(Extract, TakesOneEntryOutSafely) {
    QTemporaryDir dir;
    const QString package = damagedExample(dir);
    const QString out = dir.filePath("out");

    const auto lut = tool({"extract", package, "resources/warm-afternoon.cube", "-o", out});
    ASSERT_EQ(lut.code, 0) << lut.errors.toStdString();
    EXPECT_EQ(TestSupport::readFile(out),
              TestSupport::readFile(kExamples + "effects/warm-afternoon.cube"));

    const auto again = tool({"extract", package, "resources/grain.png", "-o", out});
    EXPECT_EQ(again.code, 1);
    EXPECT_TRUE(again.errors.contains("already exists; not overwritten"))
        << again.errors.toStdString();
    EXPECT_EQ(TestSupport::readFile(out),
              TestSupport::readFile(kExamples + "effects/warm-afternoon.cube"));
    const auto forced = tool({"extract", package, "resources/grain.png", "-o", out, "--force"});
    EXPECT_EQ(forced.code, 0) << forced.errors.toStdString();
    EXPECT_EQ(TestSupport::readFile(out), TestSupport::readFile(kExamples + "effects/grain.png"));

    const QJsonObject listing =
        QJsonDocument::fromJson(tool({"ls", package, "--json"}).output.toUtf8()).object();
    const QString folder =
        listing["addOns"].toObject()["effects"].toArray()[0].toObject()["path"].toString();
    for (const QString& name : {QString("effects[0]"), folder}) {
        const QString item = dir.filePath("item-" + QString::number(name.size()) + ".xml");
        const auto taken = tool({"extract", package, name, "-o", item});
        ASSERT_EQ(taken.code, 0) << taken.errors.toStdString();
        EXPECT_TRUE(TestSupport::readFile(item).contains("Warm Afternoon"));
    }

    const struct {
        QString name;
        const char* error;
    } refusals[] = {
        {"../secret", "not taken out: it climbs out with '..'"},
        {"resources/../../secret", "not taken out: it climbs out with '..'"},
        {"/etc/passwd", "not taken out: an absolute path"},
        {"effects[7]", "effects[7]: no such item"},
        {"resources/none.png", "resources/none.png: no such file in the package"},
        {"resources/", "no such file in the package"},
        {"resources/beach.mp4", "resources/beach.mp4: "},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.name.toStdString());
        const QString target = dir.filePath("refused");
        const auto refused = tool({"extract", package, refusal.name, "-o", target});
        EXPECT_EQ(refused.code, 1);
        EXPECT_TRUE(refused.errors.contains(refusal.error)) << refused.errors.toStdString();
        EXPECT_FALSE(QFileInfo::exists(target));
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::Hidden | QDir::Files).filter(".pw-").size(), 0);
    }
    EXPECT_EQ(tool({"extract", package, "effects[0]"}).code, 2);
}
