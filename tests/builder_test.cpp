#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFileInfo>
#include <QTemporaryDir>

#include "package/abstract_build_component.h"
#include "package/builder.h"
#include "platform/bundle/package_reader.h"
#include "platform/fs/fs.h"
#include "platform/layout/package_structure_description.h"
#include "test_support.h"

namespace {

// A component that writes one file into the working folder, records when it builds and when its
// fixups run, and copies a source file into the resources the way real components do.
class RecordingComponent : public Package::AbstractBuildComponent {
public:
    RecordingComponent(QString name, QStringList* log, QString source = QString())
        : m_name(std::move(name)), m_log(log), m_source(std::move(source)) {}

    Package::ResourceFixupQueue build(Package::Object* package) override {
        *m_log << m_name + " build";
        TestSupport::writeFile(package->folder + "/" + m_name + ".txt", "built");
        Package::CollectionAddOn addOn;
        addOn.path = QStringLiteral("effects/%1/").arg(m_name);
        package->effectAddOns.push_back(addOn);

        Package::ResourceFixupQueue fixups;
        for (int i = 1; i <= 2; ++i) {
            QStringList* log = m_log;
            const QString label = QStringLiteral("%1 fixup %2").arg(m_name).arg(i);
            fixups.push_back([log, label](const QString& folder) {
                *log << label + (QFileInfo(folder).isDir() && folder.endsWith(QLatin1Char('/'))
                                     ? ""
                                     : " (bad folder)");
            });
        }
        if (!m_source.isEmpty()) {
            const QString source = m_source;
            const QString fileName = FS::fileName(source);
            fixups.push_back([source, fileName](const QString& folder) {
                // The folder ends in "/", so this target holds a doubled separator on purpose.
                FS::copy(source, QStringLiteral("%1/%2").arg(folder).arg(fileName));
            });
        }
        return fixups;
    }

private:
    QString m_name;
    QStringList* m_log;
    QString m_source;
};

class EmptyFixupComponent : public Package::AbstractBuildComponent {
public:
    Package::ResourceFixupQueue build(Package::Object*) override {
        return Package::ResourceFixupQueue(1);
    }
};

QPixmap redPreview() {
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::red);
    return pixmap;
}

struct Area {
    QTemporaryDir dir;
    QString folder() const { return dir.filePath("work/Summer Pack"); }
    QString package() const { return dir.filePath("out/summer.qpack"); }
};

Package::Builder makeBuilder(const Area& area) {
    QDir().mkpath(area.folder());
    QDir().mkpath(QFileInfo(area.package()).absolutePath());
    return Package::Builder(area.folder(), area.package(), "content name", "Summer Pack",
                            redPreview());
}

Bundle::PackageManifest manifestOf(const Area& area) {
    return Bundle::parseManifest(TestSupport::zipEntry(area.package(), "package.xml"),
                                 "package.xml");
}

qint64 sizeWithout(const QString& folder, const QStringList& skipped) {
    qint64 total = 0;
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        if (!skipped.contains(it.fileName()))
            total += it.fileInfo().size();
    }
    return total;
}

}  // namespace

TEST(Builder, WithoutComponentsStillWritesACompletePackage) {
    Area area;
    Package::Builder builder = makeBuilder(area);
    builder.build("{fixed-id}");

    EXPECT_TRUE(QFileInfo(area.folder() + "/resources").isDir());
    const QStringList entries = TestSupport::zipEntries(area.package());
    for (const char* name : {"preview.png", "package.xml", "content.xml", "resources/"})
        EXPECT_TRUE(entries.contains(QLatin1String(name)))
            << name << " in " << entries.join(' ').toStdString();
    const QString description =
        QString::fromUtf8(TestSupport::zipEntry(area.package(), "package.xml"));
    const qint64 previewSize = QFileInfo(area.folder() + "/preview.png").size();
    EXPECT_EQ(description, QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                          "<versions>\n"
                                          "    <manifest file=\"content.xml\" version=\"1\"/>\n"
                                          "    <additionals>\n"
                                          "        <uuid>{fixed-id}</uuid>\n"
                                          "        <name>Summer Pack</name>\n"
                                          "        <size>%1</size>\n"
                                          "        <previewPath>preview.png</previewPath>\n"
                                          "    </additionals>\n"
                                          "</versions>\n")
                               .arg(previewSize));

    // The content file carries the content name; the preview is the builder's.
    const QString unpacked = area.dir.filePath("unpacked");
    EXPECT_EQ(Bundle::openPackage(area.package(), unpacked).name, "content name");
    EXPECT_EQ(QImage(unpacked + "/preview.png").pixelColor(0, 0), QColor(Qt::red));
}

TEST(Builder, FixupsRunAfterEveryBuildInRegistrationAndQueueOrder) {
    Area area;
    QTemporaryDir sources;
    const QString source = sources.filePath("grade one.cube");
    TestSupport::writeFile(source, "LUT_3D_SIZE 2\n");
    QStringList log;
    Package::Builder builder = makeBuilder(area);
    builder.setupBuildComponent(std::make_shared<RecordingComponent>("a", &log, source))
        .setupBuildComponent(std::make_shared<RecordingComponent>("b", &log));
    builder.build(QString());

    EXPECT_EQ(log, (QStringList{"a build", "b build", "a fixup 1", "a fixup 2", "b fixup 1",
                                "b fixup 2"}));
    // The doubled separator in the copy target still lands the file in the resources.
    EXPECT_EQ(TestSupport::zipEntry(area.package(), "resources/grade one.cube"), "LUT_3D_SIZE 2\n");
    ASSERT_EQ(builder.package().effectAddOns.size(), 2u);
    EXPECT_EQ(builder.package().effectAddOns[1].path, "effects/b/");

    // "size" counts what the components and fixups wrote and the preview, not the two XML files.
    const qint64 size = manifestOf(area).size;
    EXPECT_EQ(size, sizeWithout(area.folder(), {"package.xml", "content.xml"}));
    EXPECT_GT(size, QFileInfo(area.folder() + "/preview.png").size());
}

TEST(Builder, AnEmptyFixupFailsTheBuildBeforeAnythingIsPacked) {
    Area area;
    QStringList log;
    Package::Builder builder = makeBuilder(area);
    builder.setupBuildComponent(std::make_shared<RecordingComponent>("a", &log))
        .setupBuildComponent(std::make_shared<EmptyFixupComponent>())
        .setupBuildComponent(std::make_shared<RecordingComponent>("c", &log));
    EXPECT_THROW(builder.build(QString()), std::bad_function_call);
    EXPECT_EQ(log, (QStringList{"a build", "c build", "a fixup 1", "a fixup 2"}));
    EXPECT_FALSE(QFileInfo::exists(area.package()));
    EXPECT_FALSE(QFileInfo::exists(area.folder() + "/package.xml"));
}

TEST(Builder, CopiesShareComponentsButOwnTheirPackageObject) {
    Area first;
    QStringList log;
    auto component = std::make_shared<RecordingComponent>("a", &log);
    Package::Builder original = makeBuilder(first);
    original.setupBuildComponent(component).setupBuildComponent(component);  // twice: builds twice

    Package::Builder copy(original);
    copy.build("{copy}");
    EXPECT_EQ(log.count("a build"), 2);
    EXPECT_EQ(copy.package().effectAddOns.size(), 2u);
    EXPECT_TRUE(original.package().effectAddOns.empty());
    EXPECT_EQ(component.use_count(), 5);  // ours, and two in each builder
}

TEST(Builder, PackageIdsAreGeneratedOrKept) {
    auto idOf = [](const QString& uuid) {
        Area area;
        Package::Builder builder = makeBuilder(area);
        builder.build(uuid);
        return manifestOf(area).uuid;
    };
    const QString first = idOf(QString());
    EXPECT_TRUE(TestSupport::isBracedUuid(first)) << first.toStdString();
    EXPECT_NE(first, idOf(QString()));
    EXPECT_EQ(idOf("not even a uuid"), "not even a uuid");
}

TEST(BuildComponent, ANullPreviewKeepsTheCurrentOne) {
    RecordingComponent component("x", nullptr);
    component.setPreview(Types::Image(redPreview()));
    component.setPreview(Types::Image());
    EXPECT_EQ(component.preview().size(), QSize(16, 16));
}

// Thousands of components must not hold thousands of equal grey squares.
TEST(BuildComponent, FreshComponentsShareOneGreyDefaultPreview) {
    RecordingComponent first("a", nullptr);
    RecordingComponent second("b", nullptr);
    EXPECT_EQ(first.preview().size(), QSize(80, 80));
    EXPECT_EQ(first.preview().toImage().pixelColor(40, 40), QColor(Qt::gray));
    EXPECT_EQ(first.preview().cacheKey(), second.preview().cacheKey());
}
