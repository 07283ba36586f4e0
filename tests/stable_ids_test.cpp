#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <map>

#include "package/builder.h"
#include "package/components/effects/lut_effect_build_component.h"
#include "platform/model/id_source.h"
#include "test_support.h"

namespace {

// Hands out 1, 2, 3, ... as UUIDs, so that a test can tell where each id went.
class CountingIdSource : public IdSource {
public:
    QUuid newUuid() override { return QUuid(++count, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0); }
    uint count = 0;
};

QString counted(uint n, QUuid::StringFormat format = QUuid::WithBraces) {
    return QUuid(n, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0).toString(format);
}

// Every stored item of a package: its folder (the entry's path without "item.xml") and its XML.
std::map<QString, QByteArray> storedItems(const QString& package) {
    std::map<QString, QByteArray> items;
    for (const QString& entry : TestSupport::zipEntries(package)) {
        if (entry.endsWith(QLatin1String("/item.xml")))
            items[entry.chopped(8)] = TestSupport::zipEntry(package, entry);
    }
    return items;
}

QStringList folders(const std::map<QString, QByteArray>& items) {
    QStringList names;
    for (const auto& item : items)
        names << item.first;
    return names;
}

// A recipe of four components over the bundled example files.
QJsonObject recipe(const QString& uuid) {
    const QString examples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/");
    QJsonObject root{{"name", "Ids"}};
    if (!uuid.isEmpty())
        root["uuid"] = uuid;
    root["components"] = QJsonArray{
        QJsonObject{{"kind", "lut-effect"},
                    {"title", "Warm"},
                    {"lut", examples + "effects/warm-afternoon.cube"}},
        QJsonObject{{"kind", "shader-effect"},
                    {"title", "Vignette"},
                    {"shader", examples + "effects/soft-vignette.frag"},
                    {"auxImage", examples + "effects/grain.png"}},
        QJsonObject{{"kind", "import"},
                    {"id", "beach"},
                    {"title", "Beach"},
                    {"file", examples + "media/sunset.jpg"},
                    {"importKind", "image"}},
        QJsonObject{{"kind", "lut-effect"},
                    {"title", "Cool"},
                    {"lut", examples + "effects/warm-afternoon.cube"}},
    };
    return root;
}

// Builds a recipe into `<dir>/<name>.qpack` and returns its stored items.
std::map<QString, QByteArray> build(const QTemporaryDir& dir, const QString& name,
                                    const QJsonObject& root, QStringList extra = {}) {
    const QString recipePath = dir.filePath(name + ".json");
    TestSupport::writeFile(recipePath, QJsonDocument(root).toJson());
    const QString package = dir.filePath(name + ".qpack");
    const TestSupport::ToolResult result =
        TestSupport::tool(QStringList{"build", recipePath, "-o", package} + extra);
    EXPECT_EQ(result.code, 0) << result.errors.toStdString();
    return storedItems(package);
}

}  // namespace

TEST(IdSource, TheLibraryTakesEveryIdFromTheCurrentSourceAndIsRandomOutsideIt) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("look.cube"), "LUT_3D_SIZE 2\n");
    const auto buildLut = [&](const QString& name) {
        Package::Builder builder(dir.filePath(name), dir.filePath(name + ".qpack"), name, name,
                                 QPixmap());
        builder.setupBuildComponent(std::make_shared<Package::LutEffectBuildComponent>(
            Package::LutEffectParams{"Look", "", dir.filePath("look.cube")}));
        builder.build(QString());
        return builder.package();
    };

    CountingIdSource counting;
    CountingIdSource outer;
    Package::Object stable;
    {
        const ScopedIdSource outerScope(outer);
        const ScopedIdSource scope(counting);
        stable = buildLut("stable");
    }
    // The item folder, the item's id, its resource and the package id, in the order asked for.
    EXPECT_EQ(counting.count, 4u);
    EXPECT_EQ(outer.count, 0u);
    ASSERT_EQ(stable.effectAddOns.size(), 1u);
    EXPECT_EQ(stable.effectAddOns[0].path, QStringLiteral("effects/%1/").arg(counted(1)));
    const QByteArray item = TestSupport::zipEntry(dir.filePath("stable.qpack"),
                                                  stable.effectAddOns[0].path + "item.xml");
    EXPECT_TRUE(item.contains(counted(2, QUuid::WithoutBraces).toUtf8())) << item.toStdString();
    EXPECT_TRUE(item.contains(counted(3).toUtf8())) << item.toStdString();
    EXPECT_TRUE(TestSupport::zipEntry(dir.filePath("stable.qpack"), "package.xml")
                    .contains(counted(4).toUtf8()));

    // Once the guards are gone the ids are random again, and the sources are not asked.
    const Package::Object random = buildLut("random");
    EXPECT_EQ(counting.count, 4u);
    EXPECT_EQ(outer.count, 0u);
    const QString folder = random.effectAddOns.at(0).path.section('/', 1, 1);
    EXPECT_TRUE(TestSupport::isBracedUuid(folder)) << folder.toStdString();
    EXPECT_NE(folder, counted(1));
}

TEST(StableIds, RebuildingWithAUuidKeepsEveryItemIdAndFolder) {
    QTemporaryDir dir;
    const QString uuid = QStringLiteral("{0f8e5f5e-9e1c-4a57-9a56-5a3b5f6f0a11}");
    const auto first = build(dir, "first", recipe(uuid));
    const auto second = build(dir, "second", recipe(uuid));
    ASSERT_EQ(first.size(), 4u);
    EXPECT_EQ(folders(first), folders(second));
    // The stored XML holds the item's id and its resources' ids: the same bytes mean the same ids.
    EXPECT_EQ(first, second);
    for (const QString& folder : folders(first))
        EXPECT_TRUE(TestSupport::isBracedUuid(folder.section('/', -2, -2))) << folder.toStdString();

    // --uuid gives a recipe without one the same ids as the recipe that names it.
    const auto given = build(dir, "given", recipe(QString()), {"--uuid", uuid});
    EXPECT_EQ(first, given);
    // Another package id gives other ids.
    const auto other = build(dir, "other", recipe("another package"));
    for (const QString& folder : folders(other))
        EXPECT_FALSE(folders(first).contains(folder)) << folder.toStdString();
}

TEST(StableIds, EditingOrMovingOneComponentChangesOnlyItsOwnItem) {
    QTemporaryDir dir;
    const QJsonObject base = recipe("{6f2d0c1e-3c5b-4d8e-9a7f-1b2c3d4e5f60}");
    const auto before = build(dir, "before", base);
    ASSERT_EQ(before.size(), 4u);

    // A new title for the shader effect: its folder stays, its item changes, nothing else does.
    QJsonObject edited = base;
    QJsonArray components = edited["components"].toArray();
    QJsonObject shader = components[1].toObject();
    shader["title"] = "Dark Vignette";
    components[1] = shader;
    edited["components"] = components;
    const auto after = build(dir, "after", edited);
    EXPECT_EQ(folders(before), folders(after));
    QStringList changed;
    for (const auto& item : before) {
        if (after.at(item.first) != item.second)
            changed << item.first;
    }
    ASSERT_EQ(changed.size(), 1);
    EXPECT_TRUE(after.at(changed[0]).contains("Dark Vignette"));
    EXPECT_TRUE(before.at(changed[0]).contains("Vignette"));

    // A component with an "id" keeps its item wherever it moves; one without keeps its item while
    // the components of its kind keep their order.
    QJsonObject moved = base;
    QJsonArray reordered = base["components"].toArray();
    const QJsonValue import = reordered.takeAt(2);
    reordered.prepend(import);
    moved["components"] = reordered;
    EXPECT_EQ(build(dir, "moved", moved), before);
}

TEST(StableIds, WithoutAUuidEveryBuildHasNewIds) {
    QTemporaryDir dir;
    const auto first = build(dir, "first", recipe(QString()));
    const auto second = build(dir, "second", recipe(QString()));
    ASSERT_EQ(first.size(), 4u);
    ASSERT_EQ(second.size(), 4u);
    for (const QString& folder : folders(first))
        EXPECT_FALSE(folders(second).contains(folder)) << folder.toStdString();
}

TEST(StableIds, ComponentIdsMustBeNonEmptyTextAndDiffer) {
    struct Case {
        const char* components;
        const char* message;
    };
    const Case cases[] = {
        {R"([{"kind": "import", "id": "a", "remoteUrl": "https://x/a", "packageName": "a"},
             {"kind": "import", "remoteUrl": "https://x/b", "packageName": "b"},
             {"kind": "import", "id": "a", "remoteUrl": "https://x/c", "packageName": "c"}])",
         R"(recipe.json: components[2].id: "a" is also the id of components[0])"},
        {R"([{"kind": "import", "id": 3, "remoteUrl": "https://x/a", "packageName": "a"}])",
         "recipe.json: components[0].id: expected a non-empty string, found a number"},
        {R"([{"kind": "import", "id": "", "remoteUrl": "https://x/a", "packageName": "a"}])",
         "recipe.json: components[0].id: expected a non-empty string, found an empty one"},
    };
    for (const Case& c : cases) {
        QTemporaryDir dir;
        const QString recipePath = dir.filePath("recipe.json");
        TestSupport::writeFile(
            recipePath,
            QByteArray(R"({"name": "x", "uuid": "u", "components": )") + c.components + "}");
        const TestSupport::ToolResult result = TestSupport::tool({"build", recipePath});
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(result.errors.contains(QLatin1String(c.message)))
            << "got: " << result.errors.toStdString();
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
                  QStringList{"recipe.json"});
    }
}

TEST(BuildReport, NamesThePackagesIdAndTheSha256OfItsBytes) {
    QTemporaryDir dir;
    const QString id = QStringLiteral("{6f1c2a8e-0d3b-4c5a-9e7f-1a2b3c4d5e6f}");
    const QString recipePath = dir.filePath("ids.json");
    TestSupport::writeFile(recipePath, QJsonDocument(recipe(id)).toJson());
    const QString package = dir.filePath("ids.qpack");
    const auto fileHash = [&] {
        QFile file(package);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return QString::fromLatin1(
            QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256).toHex());
    };

    const TestSupport::ToolResult plain =
        TestSupport::tool({"build", recipePath, "-o", package, "--print-hash"});
    ASSERT_EQ(plain.code, 0) << plain.errors.toStdString();
    EXPECT_TRUE(plain.output.contains(QStringLiteral("sha256 %1  %2\n").arg(fileHash(), package)))
        << plain.output.toStdString();

    // Without an id of its own the package's generated one is reported, as its description has it.
    QJsonObject anonymous = recipe(QString());
    TestSupport::writeFile(recipePath, QJsonDocument(anonymous).toJson());
    const TestSupport::ToolResult json =
        TestSupport::tool({"build", recipePath, "-o", package, "--json", "--force"});
    ASSERT_EQ(json.code, 0) << json.errors.toStdString();
    const QJsonObject report = QJsonDocument::fromJson(json.output.toUtf8())
                                   .object()["packages"]
                                   .toArray()
                                   .at(0)
                                   .toObject();
    EXPECT_EQ(report["sha256"].toString(), fileHash());
    const QString uuid = report["uuid"].toString();
    EXPECT_TRUE(TestSupport::isBracedUuid(uuid)) << uuid.toStdString();
    EXPECT_TRUE(TestSupport::zipEntry(package, "package.xml").contains(uuid.toUtf8()));
}
