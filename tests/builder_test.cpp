#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>
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
        *m_log << m_name + QStringLiteral(" build");
        TestSupport::writeFile(
            package->folder + QStringLiteral("/") + m_name + QStringLiteral(".txt"), "built");
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
    QString folder() const { return dir.filePath(QStringLiteral("work/Summer Pack")); }
    QString package() const { return dir.filePath(QStringLiteral("out/summer.qpack")); }
};

Package::Builder makeBuilder(const Area& area) {
    QDir().mkpath(area.folder());
    QDir().mkpath(QFileInfo(area.package()).absolutePath());
    return Package::Builder(area.folder(), area.package(), QStringLiteral("content name"),
                            QStringLiteral("Summer Pack"), redPreview());
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
    builder.build(QStringLiteral("{fixed-id}"));

    EXPECT_TRUE(QFileInfo(area.folder() + QStringLiteral("/resources")).isDir());
    const QStringList entries = TestSupport::zipEntries(area.package());
    for (const char* name : {"preview.png", "package.xml", "content.xml", "resources/"})
        EXPECT_TRUE(entries.contains(QLatin1String(name)))
            << name << " in " << entries.join(' ').toStdString();
    QString output;
    EXPECT_EQ(
        TestSupport::run(QStringLiteral("unzip"), {QStringLiteral("-t"), area.package()}, &output),
        0)
        << output.toStdString();

    const QString description =
        QString::fromUtf8(TestSupport::zipEntry(area.package(), QStringLiteral("package.xml")));
    const qint64 previewSize = QFileInfo(area.folder() + QStringLiteral("/preview.png")).size();
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

    QTemporaryDir unpacked;
    Bundle::PackageManifest manifest;
    const Package::Object object =
        Bundle::openPackage(area.package(), unpacked.filePath(QStringLiteral("x")), &manifest);
    EXPECT_EQ(object.name, QStringLiteral("content name"));
    EXPECT_EQ(object.folder, unpacked.filePath(QStringLiteral("x")));
    EXPECT_EQ(manifest.name, QStringLiteral("Summer Pack"));
    EXPECT_EQ(QImage(unpacked.filePath(QStringLiteral("x/preview.png"))).pixelColor(0, 0),
              QColor(Qt::red));
}

TEST(Builder, FixupsRunAfterEveryBuildInRegistrationAndQueueOrder) {
    Area area;
    QTemporaryDir sources;
    const QString source = sources.filePath(QStringLiteral("grade one.cube"));
    TestSupport::writeFile(source, "LUT_3D_SIZE 2\n");
    QStringList log;
    Package::Builder builder = makeBuilder(area);
    builder
        .setupBuildComponent(
            std::make_shared<RecordingComponent>(QStringLiteral("a"), &log, source))
        .setupBuildComponent(std::make_shared<RecordingComponent>(QStringLiteral("b"), &log));
    builder.build(QString());

    EXPECT_EQ(log, (QStringList{"a build", "b build", "a fixup 1", "a fixup 2", "b fixup 1",
                                "b fixup 2"}));
    // The doubled separator in the copy target still lands the file in the resources.
    EXPECT_EQ(TestSupport::zipEntry(area.package(), QStringLiteral("resources/grade one.cube")),
              "LUT_3D_SIZE 2\n");
    ASSERT_EQ(builder.package().effectAddOns.size(), 2u);
    EXPECT_EQ(builder.package().effectAddOns[1].path, QStringLiteral("effects/b/"));

    // "size" counts what the components and fixups wrote and the preview, not the two XML files.
    Bundle::PackageManifest manifest =
        Bundle::parseManifest(TestSupport::zipEntry(area.package(), QStringLiteral("package.xml")),
                              QStringLiteral("package.xml"));
    EXPECT_EQ(manifest.size, sizeWithout(area.folder(), {QStringLiteral("package.xml"),
                                                         QStringLiteral("content.xml")}));
    EXPECT_GT(manifest.size, QFileInfo(area.folder() + QStringLiteral("/preview.png")).size());
}

TEST(Builder, AnEmptyFixupFailsTheBuildBeforeAnythingIsPacked) {
    Area area;
    QStringList log;
    Package::Builder builder = makeBuilder(area);
    builder.setupBuildComponent(std::make_shared<RecordingComponent>(QStringLiteral("a"), &log))
        .setupBuildComponent(std::make_shared<EmptyFixupComponent>())
        .setupBuildComponent(std::make_shared<RecordingComponent>(QStringLiteral("c"), &log));
    EXPECT_THROW(builder.build(QString()), std::bad_function_call);
    EXPECT_EQ(log, (QStringList{"a build", "c build", "a fixup 1", "a fixup 2"}));
    EXPECT_FALSE(QFileInfo::exists(area.package()));
    EXPECT_FALSE(QFileInfo::exists(area.folder() + QStringLiteral("/package.xml")));
}

TEST(Builder, CopiesShareComponentsButOwnTheirPackageObject) {
    Area first;
    QStringList log;
    auto component = std::make_shared<RecordingComponent>(QStringLiteral("a"), &log);
    Package::Builder original = makeBuilder(first);
    original.setupBuildComponent(component).setupBuildComponent(component);  // twice: builds twice

    Package::Builder copy(original);
    copy.build(QStringLiteral("{copy}"));
    EXPECT_EQ(log.count(QStringLiteral("a build")), 2);
    EXPECT_EQ(copy.package().effectAddOns.size(), 2u);
    EXPECT_TRUE(original.package().effectAddOns.empty());
    EXPECT_EQ(component.use_count(), 5);  // ours, and two in each builder
}

TEST(Builder, PackageIdsAreGeneratedOrKept) {
    auto idOf = [](const QString& uuid) {
        Area area;
        Package::Builder builder = makeBuilder(area);
        builder.build(uuid);
        return Bundle::parseManifest(
                   TestSupport::zipEntry(area.package(), QStringLiteral("package.xml")),
                   QStringLiteral("package.xml"))
            .uuid;
    };
    const QRegularExpression braced(
        QStringLiteral("^\\{[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}\\}$"));
    const QString first = idOf(QString());
    EXPECT_TRUE(braced.match(first).hasMatch()) << first.toStdString();
    EXPECT_NE(first, idOf(QString()));
    EXPECT_EQ(idOf(QStringLiteral("not even a uuid")), QStringLiteral("not even a uuid"));
}

TEST(BuildComponent, DefaultsAndMetadata) {
    RecordingComponent component(QStringLiteral("x"), nullptr);
    ASSERT_FALSE(component.preview().isNull());
    EXPECT_EQ(component.preview().size(), QSize(80, 80));
    EXPECT_EQ(component.preview().toImage().pixelColor(40, 40), QColor(Qt::gray));

    component.setPreview(Types::Image());
    EXPECT_EQ(component.preview().size(), QSize(80, 80));
    component.setPreview(Types::Image(redPreview()));
    EXPECT_EQ(component.preview().size(), QSize(16, 16));

    component.setCategories({QStringLiteral("z"), QStringLiteral("a"), QStringLiteral("a")});
    EXPECT_EQ(component.categories(),
              (std::set<QString>{QStringLiteral("a"), QStringLiteral("z")}));
    component.setCategories({QStringLiteral("m")});
    EXPECT_EQ(component.categories(), std::set<QString>{QStringLiteral("m")});

    EXPECT_EQ(Package::AbstractBuildComponent::makeResourcePath(QStringLiteral("a.png")),
              QStringLiteral("resources/a.png"));
}
