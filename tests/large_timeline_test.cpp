// Timelines far larger than any file from outside may be: clones that the reading limits do not
// bound, and archives too large for a byte array that end in one clear error, never a crash.

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <memory>

#include "package/build_params.h"
#include "package/builder.h"
#include "package/components/overlays/final_overlay_build_component.h"
#include "platform/model/timeline_object.h"
#include "platform/model/video_effect.h"
#include "platform/serialize/archive.h"
#include "platform/serialize/cloner.h"
#include "platform/serialize/error.h"
#include "platform/serialize/xml_formatter.h"
#include "test_support.h"

namespace {

QByteArray xmlOf(const Serialize::ISerializable& object) {
    Serialize::MemoryContent content;
    return Serialize::writeArchive(object, content);
}

Transformation::Envelope envelopeOf(int keys) {
    Transformation::Envelope envelope;
    for (int i = 0; i < keys; ++i) {
        Transformation::Object value;
        value.x = i * 0.001;
        value.opacity = 1.0 / (i + 3);
        envelope.keys.emplace_back(double(i) / keys, value);
    }
    return envelope;
}

// Overlay clips on two tracks, every fifth a video with its placement effects.
Package::OverlayParams paramsWith(int clips) {
    auto timeline = std::make_unique<Timeline::Object>();
    timeline->addTrack("Main");
    timeline->addTrack("Titles");
    timeline->setPrimaryTrack(0);
    Overlay::Item item;
    item.name = "line";
    item.content = "Grüße";
    item.transform = Types::Transform(0.5, 0, 0, 0, 0.12, 0, 0.1, 0.7, 1);
    Overlay::Preset preset;
    preset.kind = Overlay::Preset::Title;
    preset.appendItem(item);
    for (int i = 0; i < clips; ++i) {
        Timeline::Clip clip;
        clip.track = i % 2;
        clip.timing = {i * 500LL, 1200, 100, 1000, Timeline::OverlayContent};
        if (i % 5 == 0) {
            clip.timing.contentKind = Timeline::VideoContent;
            clip.media.sourcePath = QStringLiteral("/media/clip%1.mp4").arg(i);
            clip.media.streams = {{Timeline::StreamDescription::Video, 640, 360}};
            auto pip = std::make_unique<Effect::PictureInPicture>();
            pip->transform = Types::Transform(0.4, 0, 0, 0, 0.4, 0, 0.5, 0.1, 1);
            clip.addEffect(std::move(pip));
            clip.addEffect(std::make_unique<Effect::VideoEffect>(Effect::Id::SideBySide,
                                                                 Effect::Group::GroupPip));
        } else {
            clip.setOverlayPreset(preset);
        }
        clip.setEnvelope(envelopeOf(4));
        timeline->addClip(clip);
    }
    Package::OverlayParams params;
    params.timeline = params.timelineStorage.adopt(std::move(timeline));
    return params;
}

// Objects that only copy through their serialization (no deepCopy), nested as deep as asked.
class Nested : public Serialize::ISerializable {
public:
    qint32 depth = 0;
    std::unique_ptr<Nested> child;

    std::string typeName() const override { return "Test::Nested"; }
    void Serialize(Serialize::ISerializer& s) const override {
        s.write("depth", depth);
        s.write("child", child.get());
    }
    void Deserialize(Serialize::IDeserializer& d) override {
        d.read("depth", depth);
        d.key("child");
        child = d.readObjectAs<Nested>("a nested object");
    }
};
const Serialize::RegisterType<Nested> registerNested("Test::Nested");

// An image receiver that cannot store anything.
class FailingReceiver : public Serialize::IContentReceiver {
public:
    QString PutImage(const Types::Image&) override {
        throw Serialize::Error("cannot store the image");
    }
    QString PutBlob(const QByteArray&) override { throw Serialize::Error("cannot store the blob"); }
};

class WithImage : public Serialize::ISerializable {
public:
    std::string typeName() const override { return "Test::WithImage"; }
    void Serialize(Serialize::ISerializer& s) const override {
        s.write("before", QStringLiteral("text"));
        Types::Image image(2, 2);
        image.fill(Qt::blue);
        s.write("image", image);
    }
    void Deserialize(Serialize::IDeserializer&) override {}
};

}  // namespace

TEST(LargeTimeline, CloneIsEqualToTheOriginalAndIndependentOfIt) {
    const Package::OverlayParams source = paramsWith(5'000);
    const QByteArray original = xmlOf(*source.timeline);
    Package::OverlayParams clone = source.clone();
    ASSERT_NE(clone.timeline, nullptr);
    EXPECT_EQ(xmlOf(*clone.timeline), original);

    // Nothing is shared: not the clips, their presets, envelopes or effects.
    const auto& from = source.timeline->clips();
    const auto& to = clone.timeline->clips();
    ASSERT_EQ(to.size(), from.size());
    EXPECT_NE(to[0]->effects()[0].get(), from[0]->effects()[0].get());
    EXPECT_EQ(to[0]->effects()[0]->typeName(), "Effect::PictureInPicture");
    EXPECT_NE(to[1]->overlayPreset(), from[1]->overlayPreset());
    EXPECT_NE(to[1]->envelope(), from[1]->envelope());
    to[1]->setEnvelope(envelopeOf(1));
    to[2]->setOverlayPreset(Overlay::Preset());
    clone.timeline->mapMediaPaths([](const QString&) { return QStringLiteral("elsewhere.mp4"); });
    clone.timeline->clearTrack(clone.timeline->track(1));
    EXPECT_EQ(xmlOf(*source.timeline), original);
}

TEST(LargeTimeline, ClonesGoBeyondTheLimitsOfReadingUntrustedArchives) {
    const Serialize::ParseLimits limits;
    // A key is six numbers, its step, its value and "Data" in a numbered element: ten values.
    const int keys = int(limits.maxNodes / 10) + 1000;
    Package::OverlayParams source;
    auto timeline = std::make_unique<Timeline::Object>();
    timeline->addTrack("Titles");
    Timeline::Clip clip;
    clip.setEnvelope(envelopeOf(keys));
    timeline->addClip(clip);
    source.timeline = source.timelineStorage.adopt(std::move(timeline));

    const Package::OverlayParams clone = source.clone();
    ASSERT_NE(clone.timeline, nullptr);
    const Transformation::Envelope* envelope = clone.timeline->clips().at(0)->envelope();
    ASSERT_NE(envelope, nullptr);
    ASSERT_EQ(envelope->keys.size(), size_t(keys));
    const auto& original = source.timeline->clips().at(0)->envelope()->keys;
    for (int i : {0, keys / 2, keys - 1}) {
        EXPECT_EQ(envelope->keys[i].step, original[i].step);
        EXPECT_EQ(envelope->keys[i].value, original[i].value);
    }

    // Types without a copy of their own go through their archive, also beyond the depth limit.
    Nested root;
    Nested* last = &root;
    for (int depth = 1; depth <= limits.maxDepth + 20; ++depth) {
        last->child = std::make_unique<Nested>();
        last = last->child.get();
        last->depth = depth;
    }
    Serialize::ObjectStorage storage;
    const Nested* copy = Serialize::Cloner().clone(&root, storage);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(xmlOf(*copy), xmlOf(root));
    EXPECT_NE(copy->child.get(), root.child.get());
}

TEST(LargeTimeline, FormatterDestructorsNeverThrowAndLeaveNoTruncatedDocument) {
    // Writing fails half way (the receiver refuses the image): the exception comes through, and
    // destroying the formatter on the way out neither throws nor completes the document.
    {
        QByteArray out;
        FailingReceiver receiver;
        EXPECT_EQ(TestSupport::errorFrom([&] {
                      auto formatter =
                          Serialize::MakeFormatter(out, receiver, Serialize::Format::Xml);
                      Serialize::ISerializer::MakeSerializer(*formatter)->serialize(WithImage());
                  }),
                  "cannot store the image");
        EXPECT_TRUE(out.isEmpty()) << out.toStdString();
    }
    // Completing the document fails in the destructor (it would exceed the bound): no exception,
    // and an empty array rather than a truncated one.
    {
        QByteArray out;
        Serialize::MemoryContent content;
        EXPECT_NO_THROW({
            Serialize::XmlFormatter formatter(out, content, 200);
            Serialize::ISerializer::MakeSerializer(formatter)->serialize(*paramsWith(3).timeline);
        });
        EXPECT_TRUE(out.isEmpty());
    }
    // Destroyed unfinished with room to spare, the formatter completes the document.
    {
        QByteArray out;
        Serialize::MemoryContent content;
        {
            Serialize::XmlFormatter formatter(out, content);
            Serialize::ISerializer::MakeSerializer(formatter)->serialize(*paramsWith(3).timeline);
        }
        EXPECT_EQ(out, xmlOf(*paramsWith(3).timeline));
    }
}

TEST(LargeTimeline, ArchiveTooLargeForItsByteArrayIsAnErrorNamingTheFile) {
    const Package::OverlayParams params = paramsWith(50);
    Serialize::MemoryContent content;
    {
        const Serialize::ArchiveSizeLimit limit(4096);
        EXPECT_EQ(TestSupport::errorFrom([&] {
                      Serialize::writeArchive(*params.timeline, content, Serialize::Format::Xml,
                                              "timeline.xml");
                  }),
                  "timeline.xml: the archive is too large: more than 4096 bytes");
    }
    EXPECT_NO_THROW(Serialize::writeArchive(*params.timeline, content));

    // A whole build whose stored item does not fit: one error naming the item's file.
    QTemporaryDir area;
    const QString folder = area.filePath("work");
    QDir().mkpath(folder);
    Package::Builder builder(folder, area.filePath("title.qpack"), "Big", "Big", QPixmap());
    auto component = std::make_shared<Package::FinalOverlayBuildComponent>(paramsWith(200));
    component->setCollectionId("titles");
    builder.setupBuildComponent(component);
    const Serialize::ArchiveSizeLimit limit(64 * 1024);
    const std::string message = TestSupport::errorFrom([&] { builder.build(QString()); });
    EXPECT_NE(message.find("/item.xml: the archive is too large: more than 65536 bytes"),
              std::string::npos)
        << message;
    EXPECT_EQ(message.rfind(folder.toStdString(), 0), 0u) << message;
    EXPECT_FALSE(QFileInfo::exists(area.filePath("title.qpack")));
}
