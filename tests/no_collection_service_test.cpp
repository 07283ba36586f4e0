// Reopening a package in a program that runs no collection service: the extractor says that the
// service is missing instead of blaming the package or giving an empty context.
// This binary has its own main, which creates a QGuiApplication and no service.

#include <gtest/gtest.h>

#include <QFileInfo>
#include <QGuiApplication>
#include <QTemporaryDir>

#include "package/builder.h"
#include "package/components/imports/import_build_component.h"
#include "package/components/overlays/finalize_overlay.h"
#include "package/extractor/extractor.h"
#include "platform/bundle/package_reader.h"
#include "platform/collection/collection_service.h"
#include "platform/collection/no_collection_service_error.h"
#include "test_support.h"

namespace {

using TestSupport::errorFrom;

Package::Object importPackage(const QTemporaryDir& dir) {
    Package::ImportParams params;
    params.source = Package::RemoteSource{"https://example.com/city.mp4", "city"};
    params.primaryText = "City";
    const QString package = dir.filePath("city.qpack");
    Package::Builder(dir.filePath("City"), package, "City", "City", QPixmap())
        .setupBuildComponent(std::make_shared<Package::ImportBuildComponent>(params))
        .build(QString());
    return Bundle::openPackage(package, dir.filePath("unpacked"));
}

}  // namespace

TEST(NoCollectionService, ReopeningNamesTheMissingService) {
    QTemporaryDir dir;
    const Package::Object object = importPackage(dir);
    ASSERT_EQ(object.importAddOns.size(), 1u);
    const QString folder = Bundle::addOnFolder(object.folder, object.importAddOns.front().path);

    std::string error;
    try {
        Package::Extractor::extractBuildContext(&object);
    } catch (const EditorCollection::NoCollectionServiceError& e) {
        error = e.what();
        EXPECT_EQ(e.itemType(), "Import::Object");
        EXPECT_EQ(e.folder(), folder);
    }
    EXPECT_NE(error.find("no collection service is running"), std::string::npos) << error;
    EXPECT_NE(error.find(folder.toStdString()), std::string::npos) << error;
    EXPECT_NE(error.find("EditorCollection::CollectionService"), std::string::npos) << error;
    EXPECT_NE(errorFrom<EditorCollection::NoCollectionServiceError>(
                  [&] { Package::Extractor::extractContentType(&object); }),
              "");

    // Finalizing reads the package back first, so it builds nothing either.
    EXPECT_NE(errorFrom<EditorCollection::NoCollectionServiceError>(
                  [&] { Package::finalizeOverlay(&object, dir.filePath("final")); }),
              "");
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("final")));

    // With a service the same package reopens.
    EditorCollection::CollectionService collection;
    EXPECT_EQ(Package::Extractor::extractContentType(&object),
              Package::Extractor::ContentType::Import);
    const Package::AnyBuildContext context = Package::Extractor::extractBuildContext(&object);
    ASSERT_EQ(context.index(), 0u);
    EXPECT_EQ(std::get<0>(context).params.primaryText, "City");
}

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
