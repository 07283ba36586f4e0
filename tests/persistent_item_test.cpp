#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>
#include <typeinfo>

#include "platform/bundle/store_item.h"
#include "platform/model/effect_object.h"
#include "platform/model/transition_object.h"
#include "platform/serialize/archive.h"
#include "platform/serialize/error.h"
#include "test_support.h"

using EffectItem = EditorCollection::PersistentItem<Effect::Object>;
using TransitionItem = EditorCollection::PersistentItem<Transition::Object>;

namespace {

QString itemXml(const QString& folder) {
    return QString::fromUtf8(TestSupport::readFile(folder + QStringLiteral("/item.xml")));
}

}  // namespace

TEST(PersistentItem, StoredItemReadsBackWithEveryField) {
    QTemporaryDir dir;
    Effect::Object effect(QStringLiteral("lut"), QStringLiteral("color"));
    effect.title = QStringLiteral("Warm");
    effect.description = QStringLiteral("A warm look");
    EffectItem record;
    record.uniqueId = QStringLiteral("id-1");
    record.item = &effect;
    record.preview = Types::Image(8, 6);
    record.preview.fill(Qt::blue);
    record.categories = {QStringLiteral("b"), QStringLiteral("a")};
    record.collectionId = QStringLiteral("collection");
    record.customStrings = {{QStringLiteral("k2"), QStringLiteral("v2")},
                            {QStringLiteral("k1"), QString()}};

    const QString folder = dir.filePath(QStringLiteral("effects/{x}"));
    ASSERT_TRUE(Bundle::storeItem(folder, &record));
    EXPECT_TRUE(QFileInfo::exists(folder + QStringLiteral("/preview.png")));

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

    // Sets and maps are written in key order, numbered from 1, keys before values.
    const QString xml = itemXml(folder);
    EXPECT_LT(xml.indexOf(QStringLiteral("<uniqueId")), xml.indexOf(QStringLiteral("<item")));
    EXPECT_LT(xml.indexOf(QStringLiteral("<item")), xml.indexOf(QStringLiteral("<preview")));
    EXPECT_LT(xml.indexOf(QStringLiteral("<preview")), xml.indexOf(QStringLiteral("<categories")));
    EXPECT_LT(xml.indexOf(QStringLiteral("<categories")),
              xml.indexOf(QStringLiteral("<collectionId")));
    EXPECT_LT(xml.indexOf(QStringLiteral("<collectionId")),
              xml.indexOf(QStringLiteral("<customStrings")));
    EXPECT_TRUE(xml.contains(QStringLiteral("<preview t=\"image\">preview.png</preview>")));
    EXPECT_TRUE(xml.contains(
        QStringLiteral("class=\"EditorCollection::PersistentItem&lt;Effect::Object&gt;\"")));
    const int a = xml.indexOf(QStringLiteral("<Data t=\"str\">a</Data>"));
    const int b = xml.indexOf(QStringLiteral("<Data t=\"str\">b</Data>"));
    ASSERT_GE(a, 0);
    EXPECT_LT(a, b);
    EXPECT_LT(xml.indexOf(QStringLiteral("<e n=\"1\">")), a);
    EXPECT_LT(xml.indexOf(QStringLiteral("<e n=\"2\">")), b);
    EXPECT_LT(xml.indexOf(QStringLiteral("<Key t=\"str\">k1</Key>")),
              xml.indexOf(QStringLiteral("<Key t=\"str\">k2</Key>")));
}

TEST(PersistentItem, EmptySetsMapsAndNullItemRoundTrip) {
    QTemporaryDir dir;
    TransitionItem record;
    record.uniqueId = QStringLiteral("only-an-id");
    ASSERT_TRUE(Bundle::storeItem(dir.path(), record));

    const QString xml = itemXml(dir.path());
    EXPECT_TRUE(xml.contains(QStringLiteral("<categories t=\"array\" count=\"0\"/>")));
    EXPECT_TRUE(xml.contains(QStringLiteral("<customStrings t=\"array\" count=\"0\"/>")));
    EXPECT_TRUE(xml.contains(QStringLiteral("<item t=\"null\"/>")));
    EXPECT_TRUE(xml.contains(QStringLiteral("<preview t=\"image\"/>")));

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
    EXPECT_THROW(Bundle::loadItem<Transition::Object>(dir.path(), storage), Serialize::Error);

    // With the record's name made to match, the item itself is the foreign part.
    QByteArray xml = TestSupport::readFile(dir.filePath(QStringLiteral("item.xml")));
    xml.replace("PersistentItem&lt;Effect::Object&gt;", "PersistentItem&lt;Transition::Object&gt;");
    TestSupport::writeFile(dir.filePath(QStringLiteral("item.xml")), xml);
    EXPECT_THROW(Bundle::loadItem<Transition::Object>(dir.path(), storage), std::bad_cast);
}

TEST(PersistentItem, RepeatedCategoriesInTheStreamCollapse) {
    QTemporaryDir dir;
    EffectItem record;
    record.categories = {QStringLiteral("a"), QStringLiteral("b")};
    ASSERT_TRUE(Bundle::storeItem(dir.path(), record));
    QByteArray xml = TestSupport::readFile(dir.filePath(QStringLiteral("item.xml")));
    xml.replace("<Data t=\"str\">b</Data>", "<Data t=\"str\">a</Data>");
    TestSupport::writeFile(dir.filePath(QStringLiteral("item.xml")), xml);

    Serialize::ObjectStorage storage;
    const EffectItem back = Bundle::loadItem<Effect::Object>(dir.path(), storage);
    EXPECT_EQ(back.categories, std::set<QString>{QStringLiteral("a")});
}

TEST(PersistentItem, StoreReportsAFolderThatCannotBeMade) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath(QStringLiteral("file")), "x");
    EffectItem record;
    EXPECT_FALSE(Bundle::storeItem(dir.filePath(QStringLiteral("file/below")), record));
}
