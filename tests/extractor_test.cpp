#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <cmath>
#include <limits>

#include "package/builder.h"
#include "package/components/imports/import_build_component.h"
#include "package/components/overlays/intermediate_overlay_build_component.h"
#include "package/extractor/extractor.h"
#include "platform/bundle/package_reader.h"
#include "platform/bundle/store_item.h"
#include "platform/collection/load_persistent_item_request.h"
#include "platform/fs/fs.h"
#include "platform/model/import_object.h"
#include "platform/model/overlay_preset.h"
#include "platform/model/timeline_object.h"
#include "test_support.h"

namespace {

using Package::Extractor::ContentType;
using Package::Extractor::extractBuildContext;
using Package::Extractor::extractContentType;
using ImportContext = Package::BuildContextT<Package::ImportParams>;
using OverlayContext = Package::IntermediateOverlayBuildContext;

// Builds a real package from one component and opens it as the editor would, into `dir`/`name`.
Package::Object buildAndOpen(const QTemporaryDir& dir, const QString& name,
                             std::shared_ptr<Package::IBuildComponent> component) {
    QPixmap preview(8, 8);
    preview.fill(Qt::blue);
    const QString file = dir.filePath(name + ".qpack");
    Package::Builder builder(dir.filePath(name + "-work"), file, name, name, preview);
    builder.setupBuildComponent(component);
    builder.build(QString());
    return Bundle::openPackage(file, dir.filePath(name));
}

// Stores an item directly, as a damaged or foreign package may hold it.
template <class T>
void store(const Package::Object& package, const QString& addOnPath, T item) {
    EditorCollection::PersistentItem<T> record;
    record.item = &item;
    ASSERT_TRUE(Bundle::storeItem(package.folder + "/" + addOnPath, record));
}

Import::Object importItem(qint32 kind, const QString& location, const QString& url = {}) {
    Import::Object item;
    item.setKind(kind);
    item.setLocation(location);
    item.setRemoteUrl(url);
    return item;
}

Overlay::Preset presetWith(double first, double second) {
    Overlay::Preset preset;
    Overlay::Item item;
    item.firstFraction = first;
    item.secondFraction = second;
    preset.appendItem(item);
    return preset;
}

Package::CollectionAddOn addOn(const QString& path, std::map<QString, QString> categories = {}) {
    Package::CollectionAddOn result;
    result.path = path;
    result.categories = std::move(categories);
    return result;
}

// Counts the import load requests that go out, that is whether anything was read.
struct RequestCounter
    : PubSub::Details::Subscriber<EditorCollection::LoadPersistentItemRequest<Import::Object>> {
    int count = 0;
    RequestCounter() { subscribe(); }
    ~RequestCounter() override { unsubscribe(); }
    void handle(const EditorCollection::LoadPersistentItemRequest<Import::Object>&) override {
        ++count;
    }
};

// A timeline with one video clip.
Timeline::Object videoTimeline(const QString& media) {
    Timeline::Object timeline;
    timeline.setPrimaryTrack(timeline.addTrack("main"));
    Timeline::Clip video;
    video.timing = {500, 4000, 0, 4000, Timeline::VideoContent};
    video.media.sourcePath = media;
    timeline.addClip(video);
    return timeline;
}

bool isEmpty(const OverlayContext& c) {
    return c.name.isEmpty() && c.categories.isEmpty() && c.collectionId.isEmpty() &&
           c.introCollectionId.isEmpty() && !c.params.timeline && c.params.firstItemSpan == 0 &&
           c.params.videoTiming.length == 0;
}

}  // namespace

TEST(ContentType, RulesApplyInOrderAndOnlyImportsAloneAreRead) {
    QTemporaryDir dir;
    RequestCounter requests;
    EXPECT_EQ(extractContentType(nullptr), std::nullopt);
    EXPECT_EQ(extractBuildContext(nullptr).index(), 0u);

    Package::Object package;
    package.folder = dir.filePath("pack");
    package.transitionAddOns.push_back(addOn("transitions/{t}/"));
    EXPECT_EQ(extractContentType(&package), std::nullopt);
    package.presetAddOns.push_back(addOn("titles/{missing}/"));
    EXPECT_EQ(extractContentType(&package), ContentType::Overlay);
    EXPECT_EQ(std::get<0>(extractBuildContext(&package)).params.primaryText, QString());
    package.importAddOns.push_back(addOn("imports/{missing}/"));
    EXPECT_EQ(extractContentType(&package), ContentType::IntermediateOverlay);
    EXPECT_EQ(requests.count, 0);

    // Only the first import add-on decides.
    package.presetAddOns.clear();
    package.importAddOns = {addOn("imports/{a}/"), addOn("imports/{b}/")};
    store(package, "imports/{a}/", importItem(Import::Object::Intro, {}));
    store(package, "imports/{b}/", importItem(Import::Object::Video, {}));
    EXPECT_EQ(extractContentType(&package), ContentType::Intro);
    std::swap(package.importAddOns[0], package.importAddOns[1]);
    EXPECT_EQ(extractContentType(&package), ContentType::Import);
    EXPECT_EQ(requests.count, 2);

    // A first import folder without a readable item, or outside the package, cannot be told.
    store(package, "../outside/", importItem(Import::Object::Video, {}));
    const std::pair<QString, QString> unreadable[] = {{"imports/{none}/", "imports/{none}"},
                                                      {"../outside/", "points outside"}};
    for (const auto& [path, message] : unreadable) {
        package.importAddOns = {addOn(path)};
        EXPECT_THAT(TestSupport::errorFrom([&] { extractBuildContext(&package); }),
                    testing::HasSubstr(message.toStdString()));
    }
    EXPECT_EQ(requests.count, 3);  // the outside folder was never asked for
}

TEST(ExtractImport, BuiltPackagesReopenAsTheirRecord) {
    QTemporaryDir dir;
    const QString media = dir.filePath("clip one.mp4");
    TestSupport::writeFile(media, "frames");
    Package::ImportParams local{media, Package::ImageImport, "Beach", "Waves"};
    auto component = std::make_shared<Package::ImportBuildComponent>(local);
    component->setCategories({"b", "a"});
    component->setCollectionId("mine");
    Package::Object opened = buildAndOpen(dir, "opened", component);
    const QString root = opened.folder;
    opened.folder += "/sub/../";  // cleaned before use

    EXPECT_EQ(extractContentType(&opened), ContentType::Import);
    ImportContext context = std::get<0>(extractBuildContext(&opened));
    EXPECT_EQ(std::get<QString>(context.params.source), root + "/resources/clip one.mp4");
    EXPECT_EQ(TestSupport::readFile(std::get<QString>(context.params.source)), "frames");
    EXPECT_EQ(std::tie(context.params.importType, context.params.primaryText,
                       context.params.secondaryText),
              std::make_tuple(Package::ImageImport, "Beach", "Waves"));
    EXPECT_EQ(std::tie(context.name, context.collectionId, context.previewPath),
              std::make_tuple("opened", "mine", root + "/preview.png"));
    EXPECT_EQ(context.categories, QStringList({"a", "b"}));
    ASSERT_TRUE(QFile::remove(root + "/preview.png"));
    EXPECT_EQ(std::get<0>(extractBuildContext(&opened)).previewPath, QString());

    const Package::RemoteSource city{"https://example.org/city", "city"};
    opened = buildAndOpen(dir, "remote",
                          std::make_shared<Package::ImportBuildComponent>(
                              Package::ImportParams{city, Package::VideoImport, {}, {}}));
    context = std::get<0>(extractBuildContext(&opened));
    const auto& source = std::get<Package::RemoteSource>(context.params.source);
    EXPECT_EQ(source.remoteUrl, city.remoteUrl);
    EXPECT_EQ(source.packageName, "Packages/city.qpack");
}

TEST(ExtractImport, KindsAndRemoteLocationsAsStored) {
    struct Case {
        qint32 stored;
        QString location, url;
        Package::ImportType type;
        QString packageName;
    };
    const QString url = "https://example.org/m";
    const Case cases[] = {
        {3, "resources/a", {}, Package::VideoImport, {}},
        {2, "resources/a", {}, Package::ImageImport, {}},
        {1, "resources/a", {}, Package::AudioImport, {}},
        {0, "resources/a", {}, Package::OtherImport, {}},
        {9, "resources/a", {}, Package::VideoImport, {}},
        {-1, "resources/a", {}, Package::VideoImport, {}},
        {3, "elsewhere/city.zip", url, Package::VideoImport, {}},
        {3, "#X#/Packages/a.qpack/Packages/b.qpack", url, Package::VideoImport, "Packages/a.qpack"},
        {3, "Packages/cityXqpack", url, Package::VideoImport, "Packages/cityXqpack"},
    };
    QTemporaryDir dir;
    Package::Object package;
    package.folder = dir.filePath("pack");
    for (const Case& c : cases) {
        const QString path = QStringLiteral("imports/%1/").arg(&c - cases);
        store(package, path, importItem(c.stored, c.location, c.url));
        package.importAddOns = {addOn(path)};
        const ImportContext context = std::get<0>(extractBuildContext(&package));
        EXPECT_EQ(context.params.importType, c.type) << c.stored;
        EXPECT_EQ(context.previewPath, QString());
        if (c.url.isEmpty())
            EXPECT_EQ(std::get<QString>(context.params.source), package.folder + "/resources/a");
        else
            EXPECT_EQ(std::get<1>(context.params.source).packageName, c.packageName)
                << c.location.toStdString();
    }
}

TEST(ExtractIntermediateOverlay, RoundTripsTheRecordAndItsProject) {
    QTemporaryDir dir;
    const QString media = dir.filePath("in/clip.mp4");
    TestSupport::writeFile(media, "frames");
    Package::OverlayParams params;
    params.timeline =
        params.timelineStorage.adopt(std::make_unique<Timeline::Object>(videoTimeline(media)));
    params.overlayType = Package::StickerOverlay;
    params.firstItemSpan = 500;
    params.secondItemSpan = -7;
    params.videoTiming = {10, 20, 30000};
    auto component = std::make_shared<Package::IntermediateOverlayBuildComponent>(params, "intros");
    component->setCategories({"fun", "zoo"});
    component->setCollectionId("stickers");
    const Package::Object opened = buildAndOpen(dir, "sticker", component);

    EXPECT_EQ(extractContentType(&opened), ContentType::IntermediateOverlay);
    Package::AnyBuildContext any = extractBuildContext(&opened);
    ASSERT_EQ(any.index(), 3u);
    const OverlayContext& context = std::get<3>(any);
    const Package::OverlayParams& back = context.params;
    const Package::VideoTiming& timing = back.videoTiming;
    EXPECT_EQ(std::tie(back.overlayType, back.firstItemSpan, back.secondItemSpan, timing.start,
                       timing.length, timing.frameRate, back.useMediaTiming, back.winSubfolder),
              std::make_tuple(Package::StickerOverlay, 500, -7, 10, 20, 30000, false, false));
    EXPECT_EQ(std::tie(context.name, context.collectionId, context.introCollectionId),
              std::make_tuple("sticker", "stickers", "intros"));
    EXPECT_EQ(context.categories, QStringList({"fun", "zoo"}));
    ASSERT_NE(back.timeline, nullptr);
    ASSERT_EQ(back.timeline->clips().size(), 1u);
    EXPECT_EQ(back.timeline->clips()[0]->media.sourcePath, opened.folder + "/resources/clip.mp4");
    EXPECT_EQ(back.timeline->clips()[0]->timing, params.timeline->clips()[0]->timing);

    // Its project part alone is a real intro package, which is told but not reopened.
    Package::Object intro = opened;
    intro.presetAddOns.clear();
    EXPECT_EQ(extractContentType(&intro), ContentType::Intro);
    EXPECT_TRUE(std::get<0>(extractBuildContext(&intro)).name.isEmpty());

    // An unreadable project leaves only the timeline out.
    ASSERT_TRUE(QFile::remove(opened.folder + "/resources/intro.bundle"));
    any = extractBuildContext(&opened);
    EXPECT_EQ(std::get<3>(any).params.timeline, nullptr);
    EXPECT_EQ(std::get<3>(any).params.firstItemSpan, 500);
}

TEST(ExtractIntermediateOverlay, SpansTruncateTimingIsCutAndMalformedOnesAreEmpty) {
    QTemporaryDir dir;
    Package::Object package;
    package.folder = dir.filePath("pack");
    store(package, "imports/{i}/", importItem(Import::Object::Intro, "x"));
    const double nan = std::nan(""), huge = 1e300;
    const qint32 max = std::numeric_limits<qint32>::max();
    const std::tuple<double, double, qint32, qint32> spans[] = {
        {2.9, -2.9, 2, -2}, {huge, -huge, max, -max - 1}, {nan, 0.5, 0, 0}};
    for (const auto& [first, second, firstSpan, secondSpan] : spans) {
        store(package, "titles/{p}/", presetWith(first, second));
        package.presetAddOns = {addOn("titles/{p}/", {{"c", "titles"}})};
        package.presetAddOns[0].resources.push_back(
            Package::Resource({}, {}, Resource::DataFile, {(qint64(1) << 32) + 5, -1, 25}));
        package.importAddOns = {addOn("imports/{i}/", {{"c", "intros"}})};
        const OverlayContext context = std::get<3>(extractBuildContext(&package));
        EXPECT_EQ(context.params.firstItemSpan, firstSpan) << first;
        EXPECT_EQ(context.params.secondItemSpan, secondSpan) << second;
        EXPECT_EQ(context.params.videoTiming.start, 5);
        EXPECT_EQ(context.params.videoTiming.length, -1);
        EXPECT_EQ(context.introCollectionId, "intros");
        EXPECT_EQ(context.params.timeline, nullptr);  // "x" is no project
    }

    store(package, "titles/{empty}/", Overlay::Preset());
    store(package, "../outside/", presetWith(1, 1));
    const std::pair<QString, QString> malformed[] = {{"titles/{none}/", "imports/{i}/"},
                                                     {"titles/{empty}/", "imports/{i}/"},
                                                     {"titles/{p}/", "imports/{none}/"},
                                                     {"../outside/", "imports/{i}/"},
                                                     {"titles/{p}/", "../../etc/"}};
    for (const auto& [preset, import] : malformed) {
        package.presetAddOns = {addOn(preset, {{"c", "titles"}})};
        package.importAddOns = {addOn(import, {{"c", "intros"}})};
        const Package::AnyBuildContext context = extractBuildContext(&package);
        ASSERT_EQ(context.index(), 3u);
        EXPECT_TRUE(isEmpty(std::get<3>(context))) << preset.toStdString() << import.toStdString();
    }
}
