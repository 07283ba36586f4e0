#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include <QJsonArray>

#include "cli/package_report.h"
#include "package/abstract_build_component.h"
#include "package/builder.h"
#include "platform/bundle/bundle_error.h"
#include "platform/bundle/package_reader.h"
#include "platform/bundle/store_item.h"
#include "platform/bundle/zip.h"
#include "platform/model/effect_object.h"
#include "platform/serialize/error.h"
#include "test_support.h"

namespace {

const QByteArray kDescription =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<versions>\n"
    "    <manifest file=\"content.xml\" version=\"1\"/>\n"
    "    <additionals>\n"
    "        <uuid>{id}</uuid>\n"
    "        <name>Pack</name>\n"
    "        <size>10</size>\n"
    "        <previewPath>preview.png</previewPath>\n"
    "    </additionals>\n"
    "</versions>\n";

QByteArray content(const QByteArray& effectAddOns) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<archive format=\"0\"><root t=\"obj\" class=\"Package::Object\">"
           "<folder t=\"str\">/build/machine/Pack</folder><name t=\"str\">Pack</name>"
           "<presetAddOns t=\"array\" count=\"0\"/><transitionAddOns t=\"array\" count=\"0\"/>" +
           effectAddOns + "<importAddOns t=\"array\" count=\"0\"/></root></archive>";
}

QByteArray effectAddOn(const QByteArray& path) {
    return "<effectAddOns t=\"array\" count=\"1\"><e n=\"1\"><Data t=\"obj\" "
           "class=\"Package::CollectionAddOn\">"
           "<path t=\"str\">" +
           path +
           "</path><categories t=\"array\" count=\"0\"/><resources t=\"array\" "
           "count=\"0\"/></Data></e>"
           "</effectAddOns>";
}

// Packs a folder holding the given files into a package and returns its path.
QString makePackage(const QTemporaryDir& dir, const std::map<QString, QByteArray>& files) {
    const QString folder = dir.filePath(QStringLiteral("src"));
    for (const auto& file : files)
        TestSupport::writeFile(folder + QLatin1Char('/') + file.first, file.second);
    const QString package = dir.filePath(QStringLiteral("p.qpack"));
    Bundle::Zip::compressAll(package, folder);
    return package;
}

// The message of the Bundle::Error or Serialize::Error that opening raises.
std::string openError(const QString& package, const QString& folder) {
    try {
        Bundle::openPackage(package, folder);
    } catch (const Bundle::Error& error) {
        return error.what();
    } catch (const Serialize::Error& error) {
        return error.what();
    }
    return std::string();
}

}  // namespace

TEST(PackageReader, ReadsTheObjectIntoTheUnpackFolder) {
    QTemporaryDir dir;
    const QString package =
        makePackage(dir, {{"package.xml", kDescription},
                          {"content.xml", content("<effectAddOns t=\"array\" count=\"0\"/>")}});
    Bundle::PackageManifest manifest;
    const Package::Object object =
        Bundle::openPackage(package, dir.filePath(QStringLiteral("out")), &manifest);
    EXPECT_EQ(object.folder, dir.filePath(QStringLiteral("out")));
    EXPECT_EQ(object.name, QStringLiteral("Pack"));
    EXPECT_EQ(manifest.uuid, QStringLiteral("{id}"));
    EXPECT_EQ(manifest.size, 10);
}

TEST(PackageReader, BrokenDescriptionsAndContentFilesAreNamed) {
    struct Case {
        QByteArray description;
        QByteArray contentFile;
        const char* expected;
    };
    const QByteArray valid = content("<effectAddOns t=\"array\" count=\"0\"/>");
    const Case cases[] = {
        {QByteArray(kDescription).replace("content.xml", "../../etc/passwd"), valid,
         "is not a plain file name"},
        {QByteArray(kDescription).replace("version=\"1\"", "version=\"9\""), valid,
         "version 9 is newer"},
        {QByteArray(kDescription).replace("<size>10</size>", "<size>ten</size>"), valid,
         "package.xml:7: <size> holds 'ten'"},
        {QByteArray(kDescription).replace("<uuid>{id}</uuid>", ""), valid,
         "<additionals> has no <uuid>"},
        {QByteArray(kDescription)
             .replace("<uuid>{id}</uuid>", "")
             .replace("</additionals>", "</additionals><other><uuid>x</uuid></other>"),
         valid, "<additionals> has no <uuid>"},
        {"<?xml version=\"1.0\"?><!DOCTYPE v [<!ENTITY a \"b\">]><versions/>", valid,
         "document type declarations"},
        {"<html/>", valid, "not a package description"},
        {kDescription, QByteArray(valid).replace("Package::Object", "Effect::Object"),
         "holds a 'Effect::Object' where a 'Package::Object' belongs"},
        {kDescription, valid.left(valid.size() - 20), "content.xml:"},
        {kDescription,
         QByteArray(valid).replace("count=\"0\"/><importAddOns",
                                   "count=\"99999999\"/><importAddOns"),
         "announces 99999999 elements but holds 0"},
    };
    for (const Case& c : cases) {
        QTemporaryDir dir;
        const QString package =
            makePackage(dir, {{"package.xml", c.description}, {"content.xml", c.contentFile}});
        const std::string message = openError(package, dir.filePath(QStringLiteral("out")));
        EXPECT_NE(message.find(c.expected), std::string::npos)
            << "expected \"" << c.expected << "\", got \"" << message << "\"";
    }
}

TEST(PackageReader, AddOnsThatPointOutsideThePackageAreRefused) {
    for (const QByteArray& path :
         {QByteArray("../../outside/"), QByteArray("/etc/"), QByteArray("effects/../../x/")}) {
        QTemporaryDir dir;
        TestSupport::writeFile(dir.filePath(QStringLiteral("outside/item.xml")), "not for reading");
        const QString package = makePackage(
            dir, {{"package.xml", kDescription}, {"content.xml", content(effectAddOn(path))}});
        try {
            Cli::PackageReport::read(package, dir.filePath(QStringLiteral("unpacked/p")));
            ADD_FAILURE() << "an add-on at " << path.toStdString() << " was followed";
        } catch (const std::exception& error) {
            EXPECT_NE(std::string(error.what()).find("points outside the package"),
                      std::string::npos)
                << error.what();
        }
    }
    EXPECT_EQ(Bundle::addOnFolder(QStringLiteral("/p"), QStringLiteral("effects/{a}/")),
              QStringLiteral("/p/effects/{a}"));
    EXPECT_EQ(Bundle::addOnFolder(QStringLiteral("/p"), QStringLiteral("..")), QString());
    EXPECT_EQ(Bundle::addOnFolder(QStringLiteral("/p"), QStringLiteral("../p2/x")), QString());
    EXPECT_EQ(Bundle::addOnFolder(QString(), QStringLiteral("effects/{a}/")), QString());
}

namespace {

// Stores one effect item the way components do, so that the report has something to read back.
class StoringComponent : public Package::AbstractBuildComponent {
public:
    Package::ResourceFixupQueue build(Package::Object* package) override {
        Effect::Object effect(QStringLiteral("lut"), QStringLiteral("color"));
        effect.title = QStringLiteral("Warm");
        EditorCollection::PersistentItem<Effect::Object> record;
        record.uniqueId = QStringLiteral("unique-1");
        record.item = &effect;
        record.preview = preview();
        record.categories = {QStringLiteral("looks")};
        Package::CollectionAddOn addOn;
        addOn.path = QStringLiteral("effects/{a}/");
        addOn.categories = {{QStringLiteral("looks"), QStringLiteral("c")}};
        addOn.resources.push_back(Package::Resource(QStringLiteral("resources/warm.cube"),
                                                    QStringLiteral("{r}"), Resource::DataFile,
                                                    {5, 6, 25000}));
        Bundle::storeItem(package->folder + QStringLiteral("/effects/{a}"), &record);
        package->effectAddOns.push_back(addOn);
        return {};
    }
};

}  // namespace

TEST(PackageReport, ShowsEveryStoredItemReadBack) {
    QTemporaryDir dir;
    const QString folder = dir.filePath(QStringLiteral("work/Pack"));
    QDir().mkpath(folder);
    Package::Builder builder(folder, dir.filePath(QStringLiteral("p.qpack")),
                             QStringLiteral("Pack"), QStringLiteral("Pack"), QPixmap());
    builder.setupBuildComponent(std::make_shared<StoringComponent>());
    builder.build(QStringLiteral("{p}"));

    const Cli::PackageReport report = Cli::PackageReport::read(
        dir.filePath(QStringLiteral("p.qpack")), dir.filePath(QStringLiteral("read")));
    const QString text = report.toText();
    for (const char* expected :
         {"effects: 1", "  effects/{a}/", "\"looks\" -> \"c\"",
          "resources/warm.cube  id {r}  type 4  timing 5 + 6 ms @ 25000",
          "item: EditorCollection::PersistentItem<Effect::Object>", "uniqueId: \"unique-1\"",
          "item: Effect::Object", "title: \"Warm\"", "preview: image 80 x 80"}) {
        EXPECT_TRUE(text.contains(QLatin1String(expected))) << expected << "\n"
                                                            << text.toStdString();
    }
    const QJsonObject effect =
        report.toJson().value("addOns").toObject().value("effects").toArray().at(0).toObject();
    EXPECT_EQ(effect.value("item").toObject().value("item").toObject().value("@type").toString(),
              QStringLiteral("Effect::Object"));
    EXPECT_EQ(effect.value("resources")
                  .toArray()
                  .at(0)
                  .toObject()
                  .value("timing")
                  .toObject()
                  .value("frameRate")
                  .toInt(),
              25000);

    // A stored item of the wrong family is named, with its entry.
    TestSupport::writeFile(
        dir.filePath(QStringLiteral("work/Pack/effects/{a}/item.xml")),
        TestSupport::readFile(dir.filePath(QStringLiteral("work/Pack/effects/{a}/item.xml")))
            .replace("Effect::Object&gt;", "Transition::Object&gt;"));
    Bundle::Zip::compressAll(dir.filePath(QStringLiteral("p2.qpack")), folder);
    try {
        Cli::PackageReport::read(dir.filePath(QStringLiteral("p2.qpack")),
                                 dir.filePath(QStringLiteral("read2")));
        ADD_FAILURE() << "a transition record in the effects list was accepted";
    } catch (const std::exception& error) {
        EXPECT_NE(std::string(error.what()).find("effects/{a}/item.xml"), std::string::npos)
            << error.what();
    }
}
