#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDir>
#include <QJsonArray>
#include <QTemporaryDir>

#include <functional>

#include "cli/package_report.h"
#include "package/abstract_build_component.h"
#include "package/builder.h"
#include "platform/bundle/package_reader.h"
#include "platform/bundle/store_item.h"
#include "platform/bundle/zip.h"
#include "platform/model/effect_object.h"
#include "test_support.h"

namespace {

using testing::HasSubstr;
using TestSupport::errorFrom;

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
    const QString folder = dir.filePath("src");
    for (const auto& file : files)
        TestSupport::writeFile(folder + QLatin1Char('/') + file.first, file.second);
    const QString package = dir.filePath("p.qpack");
    Bundle::Zip::compressAll(package, folder);
    return package;
}

}  // namespace

TEST(PackageReader, ReadsTheObjectIntoTheUnpackFolder) {
    QTemporaryDir dir;
    const QString package =
        makePackage(dir, {{"package.xml", kDescription},
                          {"content.xml", content("<effectAddOns t=\"array\" count=\"0\"/>")}});
    Bundle::PackageManifest manifest;
    const Package::Object object = Bundle::openPackage(package, dir.filePath("out"), &manifest);
    EXPECT_EQ(object.folder, dir.filePath("out"));
    EXPECT_EQ(object.name, "Pack");
    EXPECT_EQ(manifest.uuid, "{id}");
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
        const std::string message =
            errorFrom([&] { Bundle::openPackage(package, dir.filePath("out")); });
        EXPECT_THAT(message, HasSubstr(c.expected));
    }
}

TEST(PackageReader, TheOpenerStopsAtTheLimitsItIsGiven) {
    QTemporaryDir dir;
    const QString package =
        makePackage(dir, {{"package.xml", kDescription},
                          {"content.xml", content("<effectAddOns t=\"array\" count=\"0\"/>")},
                          {"resources/zeros.bin", QByteArray(4000, '\0')}});
    const struct {
        const char* name;
        std::function<void(Bundle::ReadLimits&)> set;
        const char* expected;
    } cases[] = {
        {"entries", [](Bundle::ReadLimits& l) { l.maxEntries = 3; }, "more than the limit of 3"},
        {"entry bytes", [](Bundle::ReadLimits& l) { l.maxEntryBytes = 3999; },
         "entry 'resources/zeros.bin' is larger than the limit of 3999 bytes"},
        {"archive ratio",
         [](Bundle::ReadLimits& l) {
             l.maxArchiveRatio = 1;
             l.archiveRatioFloorBytes = 0;
         },
         "takes the archive past 1 times its own size"},
        {"description", [](Bundle::ReadLimits& l) { l.maxDescriptionBytes = 100; },
         "package.xml: is larger than the limit of 100 bytes"},
        {"content", [](Bundle::ReadLimits& l) { l.maxContentBytes = 100; },
         "content.xml: is larger than the limit of 100 bytes"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Bundle::ReadLimits limits;
        c.set(limits);
        const QString out = dir.filePath("out");
        const std::string message =
            errorFrom([&] { Bundle::openPackage(package, out, nullptr, {}, limits); });
        EXPECT_THAT(message, HasSubstr(c.expected));
        QDir(out).removeRecursively();
    }
    EXPECT_NO_THROW(Bundle::openPackage(package, dir.filePath("out")));
}

TEST(PackageReader, AddOnsThatPointOutsideThePackageAreRefused) {
    for (const QByteArray& path :
         {QByteArray("../../outside/"), QByteArray("/etc/"), QByteArray("effects/../../x/")}) {
        QTemporaryDir dir;
        TestSupport::writeFile(dir.filePath("outside/item.xml"), "not for reading");
        const QString package = makePackage(
            dir, {{"package.xml", kDescription}, {"content.xml", content(effectAddOn(path))}});
        EXPECT_THAT(
            errorFrom([&] { Cli::PackageReport::read(package, dir.filePath("unpacked/p")); }),
            HasSubstr("points outside the package"))
            << path.toStdString();
    }
    EXPECT_EQ(Bundle::addOnFolder("/p", "effects/{a}/"), "/p/effects/{a}");
    EXPECT_EQ(Bundle::addOnFolder("/p", ".."), QString());
    EXPECT_EQ(Bundle::addOnFolder("/p", "../p2/x"), QString());
    EXPECT_EQ(Bundle::addOnFolder(QString(), "effects/{a}/"), QString());
}

namespace {

// Stores one effect item the way components do, so that the report has something to read back.
class StoringComponent : public Package::AbstractBuildComponent {
public:
    Package::ResourceFixupQueue build(Package::Object* package) override {
        Effect::Object effect("lut", "color");
        effect.title = "Warm";
        EditorCollection::PersistentItem<Effect::Object> record;
        record.uniqueId = "unique-1";
        record.item = &effect;
        record.preview = preview();
        record.categories = {"looks"};
        Package::CollectionAddOn addOn;
        addOn.path = "effects/{a}/";
        addOn.categories = {{"looks", "c"}};
        addOn.resources.push_back(
            Package::Resource("resources/warm.cube", "{r}", Resource::DataFile, {5, 6, 25000}));
        Bundle::storeItem(package->folder + "/effects/{a}", &record);
        package->effectAddOns.push_back(addOn);
        return {};
    }
};

}  // namespace

TEST(PackageReport, ShowsEveryStoredItemReadBack) {
    QTemporaryDir dir;
    const QString folder = dir.filePath("work/Pack");
    QDir().mkpath(folder);
    Package::Builder builder(folder, dir.filePath("p.qpack"), "Pack", "Pack", QPixmap());
    builder.setupBuildComponent(std::make_shared<StoringComponent>());
    builder.build("{p}");

    const Cli::PackageReport report =
        Cli::PackageReport::read(dir.filePath("p.qpack"), dir.filePath("read"));
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
              "Effect::Object");
    const QJsonObject resource = effect.value("resources").toArray().at(0).toObject();
    EXPECT_EQ(resource.value("timing").toObject().value("frameRate").toInt(), 25000);

    // A stored item of the wrong family is named, with its entry.
    TestSupport::writeFile(dir.filePath("work/Pack/effects/{a}/item.xml"),
                           TestSupport::readFile(dir.filePath("work/Pack/effects/{a}/item.xml"))
                               .replace("Effect::Object&gt;", "Transition::Object&gt;"));
    Bundle::Zip::compressAll(dir.filePath("p2.qpack"), folder);
    EXPECT_THAT(errorFrom([&] {
                    Cli::PackageReport::read(dir.filePath("p2.qpack"), dir.filePath("read2"));
                }),
                HasSubstr("effects/{a}/item.xml"));
}
