// A program without a QGuiApplication (a console program with a QCoreApplication): the library
// throws Types::NoGuiApplicationError where Qt would end the process, and writes nothing.
// This binary has its own main, which creates no QGuiApplication.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include "package/builder.h"
#include "package/components/effects/effect_build_component.h"
#include "package/extractor/extractor.h"
#include "platform/bundle/package_reader.h"
#include "platform/bundle/zip.h"
#include "platform/collection/collection_service.h"
#include "platform/model/package_object.h"
#include "platform/serialize/no_gui_application_error.h"
#include "test_support.h"

namespace {

using TestSupport::errorFrom;

// A package with one downloadable import, built by the tool, which runs its own application.
QString importPackage(const QTemporaryDir& dir) {
    TestSupport::writeFile(dir.filePath("recipe.json"), R"({
        "name": "City",
        "components": [{"kind": "import", "remoteUrl": "https://example.com/city.mp4",
                        "packageName": "city", "title": "City"}]
    })");
    const QString package = dir.filePath("city.qpack");
    const auto built = TestSupport::tool({"build", dir.filePath("recipe.json"), "-o", package});
    EXPECT_EQ(built.code, 0) << built.errors.toStdString();
    return package;
}

}  // namespace

TEST(NoGuiApplication, BuildingThrowsBeforeWritingAnything) {
    ASSERT_FALSE(Types::guiApplicationExists());
    QTemporaryDir dir;
    const QString folder = dir.filePath("Summer");
    const QString package = dir.filePath("summer.qpack");

    // A component makes its default preview when it is made.
    EXPECT_NE(errorFrom<Types::NoGuiApplicationError>([] {
                  const Package::EffectBuildComponent component(
                      Package::LutEffectParams{"Warm", "", "/x.cube"});
              }),
              "");
    // The builder itself, even without components, checks before it writes.
    const std::string error = errorFrom<Types::NoGuiApplicationError>(
        [&] { Package::Builder(folder, package, "Summer", "Summer", QPixmap()).build(QString()); });
    EXPECT_NE(error.find("building the package " + package.toStdString()), std::string::npos)
        << error;
    EXPECT_NE(error.find("QGuiApplication"), std::string::npos) << error;
    EXPECT_FALSE(QFileInfo::exists(folder));
    EXPECT_FALSE(QFileInfo::exists(package));
}

TEST(NoGuiApplication, ReadingAPackageThrowsInsteadOfAborting) {
    ASSERT_FALSE(Types::guiApplicationExists());
    QTemporaryDir dir;
    const QString package = importPackage(dir);

    // Opening throws before it unpacks.
    const QString unpacked = dir.filePath("unpacked");
    const std::string error =
        errorFrom<Types::NoGuiApplicationError>([&] { Bundle::openPackage(package, unpacked); });
    EXPECT_NE(error.find("opening the package " + package.toStdString()), std::string::npos)
        << error;
    EXPECT_FALSE(QFileInfo::exists(unpacked));

    // Unpacked by other means, the stored item cannot be read, and the service says why instead
    // of answering as if the folder held nothing.
    Bundle::Zip::extractAll(package, unpacked);
    const QStringList imports =
        QDir(unpacked + "/imports").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    ASSERT_EQ(imports.size(), 1);
    Package::Object object;
    object.folder = unpacked;
    object.importAddOns.emplace_back();
    object.importAddOns.back().path = "imports/" + imports.front() + "/";
    EXPECT_NE(errorFrom<Types::NoGuiApplicationError>(
                  [&] { Package::Extractor::extractContentType(&object); }),
              "");
    EXPECT_NE(errorFrom<Types::NoGuiApplicationError>([&] { Bundle::readPackageFolder(unpacked); }),
              "");
}

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    EditorCollection::CollectionService collection;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
