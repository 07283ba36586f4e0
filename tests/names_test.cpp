// Names that become paths and description texts: place markers, dots, control characters and the
// folder name "build", checked in what lands on disk and in the package.

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <stdexcept>

#include "package/builder.h"
#include "package/components/imports/intro_build_component.h"
#include "package/components/overlays/final_overlay_build_component.h"
#include "package/name_checks.h"
#include "platform/bundle/package_reader.h"
#include "platform/bundle/zip.h"
#include "test_support.h"

namespace {

using TestSupport::tool;

const QString kExamples = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/");

// Every file under `folder`, relative to it, sorted.
QStringList filesUnder(const QString& folder) {
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << QDir(folder).relativeFilePath(it.next());
    files.sort();
    return files;
}

QPixmap grey() {
    QPixmap preview(8, 8);
    preview.fill(Qt::gray);
    return preview;
}

QByteArray intermediateRecipe(const QString& name) {
    return R"({"name": ")" + name.toUtf8() +
           R"(", "components": [{"kind": "intermediate-overlay", "timeline": ")" +
           kExamples.toUtf8() +
           R"(media/title.json", "videoTiming": {"start": 0, "length": 2000, "frameRate": 25000}}]})";
}

}  // namespace

// The check agrees with what successive QString::arg calls really do to a text in the first or
// the second place of the layout's longest pattern.
TEST(Names, MarkersAreRefusedExactlyWhenSuccessiveSubstitutionRewritesThem) {
    const QString texts[] = {"Sale 50%1 off",
                             "%2",
                             "a%3b",
                             "%L1",
                             "%01",
                             "%0",
                             "%%1",
                             QString::fromUtf8("x%\u0661"),  // an Arabic-Indic one is a digit too
                             "50%20 off",
                             "%4",
                             "100%",
                             "%L",
                             "%x1",
                             "50% off"};
    for (const QString& text : texts) {
        const bool first = QStringLiteral("%1/%2/%3/").arg(text).arg("b").arg("c") !=
                           text + QStringLiteral("/b/c/");
        const bool second = QStringLiteral("%1/%2/%3/").arg("a").arg(text).arg("c") !=
                            QStringLiteral("a/") + text + QStringLiteral("/c/");
        EXPECT_EQ(!Package::replaceableMarker(text).isEmpty(), first || second)
            << text.toStdString();
    }
}

// A builder or an overlay component given a folder or collection id that the layout would rewrite
// throws before it writes; one whose markers are out of reach builds inside its folder.
TEST(Names, TheLibraryNeverWritesOutsideTheWorkingFolder) {
    const struct {
        const char* folder;
        const char* collection;
        bool refused;
    } cases[] = {{"Sale 50%1 off", "titles", true},
                 {"Sale %2", "titles", true},
                 {"Plain", "ti%3tles", true},
                 {"Plain", "%L1", true},
                 {"Sale 50%20 off", "titles%9", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.folder + std::string(" / ") + c.collection);
        QTemporaryDir dir;
        const QString folder = dir.filePath(QStringLiteral("area/") + c.folder);
        Package::Builder builder(folder, dir.filePath("out.qpack"), "P", "P", grey());
        auto overlay =
            std::make_shared<Package::FinalOverlayBuildComponent>(Package::OverlayParams());
        overlay->setCollectionId(c.collection);
        builder.setupBuildComponent(overlay);
        if (c.refused) {
            EXPECT_THROW(builder.build(QString()), std::invalid_argument);
            EXPECT_EQ(filesUnder(dir.path()), QStringList());
            continue;
        }
        builder.build(QString());
        for (const QString& file : filesUnder(dir.path()))
            EXPECT_TRUE(file == "out.qpack" ||
                        file.startsWith(QStringLiteral("area/") + c.folder + "/"))
                << file.toStdString();
        const QString addOn = builder.package().presetAddOns.at(0).path;
        EXPECT_TRUE(addOn.startsWith(QStringLiteral("titles%9/{"))) << addOn.toStdString();
        EXPECT_TRUE(
            TestSupport::zipEntries(dir.filePath("out.qpack")).contains(addOn + "item.xml"));
    }
}

// The description and the content file hold the same name, or the build is refused at once.
TEST(Names, TheDescriptionHoldsExactlyTheContentFilesName) {
    const struct {
        QString name;
        bool refused;
    } cases[] = {{QString::fromUtf8("Ünïcødé <&> \"q\" 'a' 🌊"), false},
                 {"Tab\there", true},
                 {"Line\nbreak", true},
                 {"Carriage\rreturn", true},
                 {QStringLiteral("Bell") + QChar(7), true},
                 {QStringLiteral("C1") + QChar(0x85), true},
                 {QStringLiteral("Lone") + QChar(0xd800), true},
                 {QStringLiteral("Non") + QChar(0xffff), true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name.toStdString());
        QTemporaryDir dir;
        Package::Builder builder(dir.filePath("work/p"), dir.filePath("out.qpack"), c.name, c.name,
                                 grey());
        if (c.refused) {
            EXPECT_THROW(builder.build(QString()), std::invalid_argument);
            EXPECT_EQ(filesUnder(dir.path()), QStringList());
            continue;
        }
        builder.build(QString());
        Bundle::PackageManifest manifest;
        const Package::Object object =
            Bundle::openPackage(dir.filePath("out.qpack"), dir.filePath("opened"), &manifest);
        EXPECT_EQ(manifest.name, c.name);
        EXPECT_EQ(object.name, c.name);
    }

    // The tool refuses it while reading the recipe, naming the field and the character.
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("recipe.json"),
                           R"({"name": "Tab\there", "components": []})");
    const auto refused = tool({"build", dir.filePath("recipe.json")});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(
        refused.errors.contains(R"(recipe.json: name: "Tab\u0009here" holds the character U+0009)"))
        << refused.errors.toStdString();
    EXPECT_EQ(filesUnder(dir.path()), QStringList{"recipe.json"});
}

// Markers in the name, an overlay's collection id, the kept working folder or the finalize target
// are refused before anything is written; markers out of reach build and verify.
TEST(Names, TheToolRefusesNamesAndFoldersThatTheLayoutWouldRewrite) {
    const struct {
        QString name;
        QString collection;
        QString keepWork;
        const char* message;
    } cases[] = {
        {"Sale 50%1 off", "", "",
         R"(recipe.json: name: "Sale 50%1 off" holds "%1", which the package layout would replace)"},
        {"Sale", "t%2", "", R"(components[0].collectionId: "t%2" holds "%2")"},
        {"Sale", "", "work%3", R"(--keep-work: ")"},
        {"Sale 50%20 off", "t%9", "work%4", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name.toStdString());
        QTemporaryDir dir;
        QByteArray overlay =
            R"({"kind": "overlay", "timeline": ")" + kExamples.toUtf8() + R"(media/title.json")";
        if (!c.collection.isEmpty())
            overlay += R"(, "collectionId": ")" + c.collection.toUtf8() + "\"";
        TestSupport::writeFile(
            dir.filePath("in/recipe.json"),
            R"({"name": ")" + c.name.toUtf8() + R"(", "components": [)" + overlay + "}]}");
        QStringList arguments = {"build", dir.filePath("in/recipe.json"), "-o",
                                 dir.filePath("in/out.qpack")};
        if (!c.keepWork.isEmpty())
            arguments << "--keep-work" << dir.filePath(c.keepWork);
        const auto built = tool(arguments);
        if (c.message) {
            EXPECT_EQ(built.code, 1);
            EXPECT_TRUE(built.errors.contains(QLatin1String(c.message)))
                << built.errors.toStdString();
            EXPECT_EQ(filesUnder(dir.path()), QStringList{"in/recipe.json"});
            continue;
        }
        ASSERT_EQ(built.code, 0) << built.errors.toStdString();
        const QStringList files = filesUnder(dir.path());
        for (const QString& file : files)
            EXPECT_TRUE(file.startsWith("in/") || file.startsWith(c.keepWork + "/" + c.name + "/"))
                << file.toStdString();
        const auto verified = tool({"verify", dir.filePath("in/out.qpack")});
        EXPECT_EQ(verified.code, 0) << verified.output.toStdString();
    }

    // The finalize target: a folder that the layout would rewrite is refused, nothing is made.
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("recipe.json"), intermediateRecipe("Editable"));
    ASSERT_EQ(tool({"build", dir.filePath("recipe.json"), "-o", dir.filePath("e.qpack")}).code, 0);
    const auto refused = tool({"finalize", dir.filePath("e.qpack"), "-C", dir.filePath("out%1")});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(refused.errors.contains(R"(holds "%1", which the package layout would replace)"))
        << refused.errors.toStdString();
    EXPECT_EQ(filesUnder(dir.path()), (QStringList{"e.qpack", "recipe.json"}));
}

// Whatever the package file or the folder is called, open and finalize use the package's name.
TEST(Names, PackagesReopenAndFinalizeUnderTheirOwnName) {
    const struct {
        const char* name;
        const char* file;
    } cases[] = {
        {"my.title", "my.title.qpack"}, {"Beach v1.2", "Beach v1.2.qpack"}, {"Editable", ".qpack"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        QTemporaryDir dir;
        TestSupport::writeFile(dir.filePath("recipe.json"), intermediateRecipe(c.name));
        const QString package = dir.filePath(c.file);
        const auto built = tool({"build", dir.filePath("recipe.json"), "-o", package});
        ASSERT_EQ(built.code, 0) << built.errors.toStdString();

        const auto opened = tool({"open", package, "--into", dir.filePath(c.name), "--json",
                                  "--recipe", dir.filePath("again.json")});
        ASSERT_EQ(opened.code, 0) << opened.errors.toStdString();
        const QJsonObject report = QJsonDocument::fromJson(opened.output.toUtf8()).object();
        EXPECT_EQ(report["buildContext"].toObject()["context"].toObject()["name"].toString(),
                  c.name);
        EXPECT_EQ(QJsonDocument::fromJson(TestSupport::readFile(dir.filePath("again.json")))
                      .object()["name"]
                      .toString(),
                  c.name);

        const auto finalized = tool({"finalize", package, "-C", dir.filePath("out")});
        ASSERT_EQ(finalized.code, 0) << finalized.errors.toStdString();
        EXPECT_EQ(QDir(dir.filePath("out"))
                      .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden),
                  QStringList{QString(c.name) + ".qpack"});
        Bundle::PackageManifest manifest;
        Bundle::openPackage(dir.filePath("out/") + c.name + ".qpack", dir.filePath("final"),
                            &manifest);
        EXPECT_EQ(manifest.name, c.name);
    }
}

// A failed open takes back what it unpacked, so the same command can be run again.
TEST(Names, AFailedOpenLeavesNothingAndCanBeRetried) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("recipe.json"), intermediateRecipe("Editable"));
    ASSERT_EQ(tool({"build", dir.filePath("recipe.json"), "-o", dir.filePath("good.qpack")}).code,
              0);
    // The same package with a content file that does not parse: it unpacks, then fails.
    const QString folder = dir.filePath("damaged");
    Bundle::Zip::extractAll(dir.filePath("good.qpack"), folder);
    TestSupport::writeFile(folder + "/content.xml", "<broken");
    Bundle::Zip::compressAll(dir.filePath("bad.qpack"), folder);

    for (const bool existing : {false, true}) {
        SCOPED_TRACE(existing ? "an empty folder" : "a new folder");
        const QString into = dir.filePath(existing ? "empty" : "new");
        if (existing)
            QDir().mkpath(into);
        const auto failed = tool({"open", dir.filePath("bad.qpack"), "--into", into});
        EXPECT_EQ(failed.code, 1);
        EXPECT_EQ(QFileInfo::exists(into), existing);
        EXPECT_EQ(filesUnder(into), QStringList());
        const auto retried = tool({"open", dir.filePath("good.qpack"), "--into", into});
        EXPECT_EQ(retried.code, 0) << retried.errors.toStdString();
    }
}

// The intro bundle goes to "<working folder>/../build": a working folder named "build" would
// take it in as a stray file, so the name is refused for packages that write one.
TEST(Names, ABuildFolderWithAnIntroIsRefused) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("in/recipe.json"),
                           R"({"name": "build", "components": [{"kind": "intro", "timeline": ")" +
                               kExamples.toUtf8() + R"(media/intro.json"}]})");
    const auto refused =
        tool({"build", dir.filePath("in/recipe.json"), "--keep-work", dir.filePath("work")});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(refused.errors.contains(
        R"(recipe.json: name: "build" cannot name a package with an intro or intermediate overlay)"))
        << refused.errors.toStdString();
    EXPECT_EQ(filesUnder(dir.path()), QStringList{"in/recipe.json"});

    // The component refuses such a folder itself, before writing the bundle.
    Package::IntroParams params;
    Package::Builder builder(dir.filePath("lib/build"), dir.filePath("lib.qpack"), "build", "build",
                             grey());
    builder.setupBuildComponent(std::make_shared<Package::IntroBuildComponent>(params));
    EXPECT_THROW(builder.build(QString()), std::invalid_argument);
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("lib")));
}
