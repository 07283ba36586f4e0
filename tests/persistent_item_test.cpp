#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>
#include <typeinfo>

#include "platform/bundle/store_item.h"
#include "platform/model/effect_object.h"
#include "platform/model/import_object.h"
#include "platform/model/transition_object.h"
#include "platform/serialize/archive.h"
#include "platform/serialize/error.h"
#include "test_support.h"

using EffectItem = EditorCollection::PersistentItem<Effect::Object>;
using TransitionItem = EditorCollection::PersistentItem<Transition::Object>;

namespace {

QString itemXml(const QString& folder) {
    return QString::fromUtf8(TestSupport::readFile(folder + "/item.xml"));
}

}  // namespace

TEST(PersistentItem, StoredItemReadsBackWithEveryField) {
    QTemporaryDir dir;
    Effect::Object effect("lut", "color");
    effect.title = "Warm";
    effect.description = "A warm look";
    EffectItem record;
    record.uniqueId = "id-1";
    record.item = &effect;
    record.preview = Types::Image(8, 6);
    record.preview.fill(Qt::blue);
    record.categories = {"b", "a"};
    record.collectionId = "collection";
    record.customStrings = {{"k2", "v2"}, {"k1", QString()}};

    const QString folder = dir.filePath("effects/{x}");
    ASSERT_TRUE(Bundle::storeItem(folder, &record));
    EXPECT_TRUE(QFileInfo::exists(folder + "/preview.png"));

    Serialize::ObjectStorage storage;
    const EffectItem back = Bundle::loadItem<Effect::Object>(folder, storage);
    EXPECT_EQ(back.uniqueId, record.uniqueId);
    EXPECT_EQ(back.collectionId, record.collectionId);
    EXPECT_EQ(back.categories, record.categories);
    EXPECT_EQ(back.customStrings, record.customStrings);
    ASSERT_NE(back.item, nullptr);
    EXPECT_EQ(back.item->typeName(), "Effect::Object");
    EXPECT_EQ(back.item->title, effect.title);
    EXPECT_EQ(back.item->id, effect.id);
    EXPECT_EQ(back.preview.size(), QSize(8, 6));
    EXPECT_EQ(back.preview.toImage().pixelColor(3, 3), QColor(Qt::blue));

    // The fields in their order; sets and maps in key order, numbered from 1, keys before values.
    const QString xml = itemXml(folder);
    int last = -1;
    for (const char* part :
         {"<uniqueId", "<item", "<preview t=\"image\">preview.png</preview>", "<categories",
          "<e n=\"1\">", "<Data t=\"str\">a</Data>", "<e n=\"2\">", "<Data t=\"str\">b</Data>",
          "<collectionId", "<customStrings", "<Key t=\"str\">k1</Key>",
          "<Key t=\"str\">k2</Key>"}) {
        const int at = xml.indexOf(QLatin1String(part), last + 1);
        EXPECT_GT(at, last) << part;
        last = std::max(at, last);
    }
    EXPECT_TRUE(xml.contains("class=\"EditorCollection::PersistentItem&lt;Effect::Object&gt;\""));
}

TEST(PersistentItem, EmptySetsMapsAndNullItemRoundTrip) {
    QTemporaryDir dir;
    TransitionItem record;
    record.uniqueId = "only-an-id";
    ASSERT_TRUE(Bundle::storeItem(dir.path(), record));

    const QString xml = itemXml(dir.path());
    EXPECT_TRUE(xml.contains("<categories t=\"array\" count=\"0\"/>"));
    EXPECT_TRUE(xml.contains("<customStrings t=\"array\" count=\"0\"/>"));
    EXPECT_TRUE(xml.contains("<item t=\"null\"/>"));
    EXPECT_TRUE(xml.contains("<preview t=\"image\"/>"));

    Serialize::ObjectStorage storage;
    const TransitionItem back = Bundle::loadItem<Transition::Object>(dir.path(), storage);
    EXPECT_EQ(back.uniqueId, record.uniqueId);
    EXPECT_EQ(back.item, nullptr);
    EXPECT_TRUE(back.categories.empty());
    EXPECT_TRUE(back.customStrings.empty());
    EXPECT_TRUE(back.preview.isNull());
    EXPECT_TRUE(storage.empty());
}

TEST(PersistentItem, ForeignItemTypeIsABadCast) {
    QTemporaryDir dir;
    Effect::Object effect;
    EffectItem record;
    record.item = &effect;
    ASSERT_TRUE(Bundle::storeItem(dir.path(), &record));

    // Same record layout, other item type: the record's own type name does not match either.
    Serialize::ObjectStorage storage;
    EXPECT_THROW(Bundle::loadItem<Transition::Object>(dir.path(), storage), std::bad_cast);
    EXPECT_THROW(Bundle::loadItem<Import::Object>(dir.path(), storage), std::bad_cast);

    // With the record's name made to match, the item itself is the foreign part.
    QByteArray xml = TestSupport::readFile(dir.filePath("item.xml"));
    xml.replace("PersistentItem&lt;Effect::Object&gt;", "PersistentItem&lt;Transition::Object&gt;");
    TestSupport::writeFile(dir.filePath("item.xml"), xml);
    EXPECT_THROW(Bundle::loadItem<Transition::Object>(dir.path(), storage), std::bad_cast);

    // A record that is no persistent item at all, or none, is not a transition's either; a
    // damaged one stays a damaged archive.
    TestSupport::writeFile(dir.filePath("item.xml"),
                           R"(<archive format="0"><root t="null"/></archive>)");
    EXPECT_THROW(Bundle::loadItem<Transition::Object>(dir.path(), storage), std::bad_cast);
    TestSupport::writeFile(dir.filePath("item.xml"), "<broken");
    EXPECT_THROW(Bundle::loadItem<Transition::Object>(dir.path(), storage), Serialize::Error);
}

TEST(PersistentItem, StoreReportsAFolderThatCannotBeMade) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("file"), "x");
    EffectItem record;
    EXPECT_FALSE(Bundle::storeItem(dir.filePath("file/below"), record));
}
