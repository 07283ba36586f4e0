#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QStringList>
#include <QXmlStreamReader>
#include <limits>
#include <set>
#include <stdexcept>
#include <tuple>

#include "platform/model/import_object.h"
#include "platform/model/project_content.h"
#include "platform/model/timeline_object.h"
#include "platform/model/transition_object.h"
#include "platform/model/video_effect.h"
#include "platform/serialize/archive.h"
#include "platform/serialize/cloner.h"
#include "platform/serialize/error.h"
#include "test_support.h"

using ::testing::HasSubstr;

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

QByteArray toXml(const Serialize::ISerializable& object) {
    Serialize::MemoryContent content;
    return Serialize::writeArchive(object, content);
}

// Reads the root through the type registry, so that the class names written are checked too.
template <class T>
std::unique_ptr<T> fromXml(const QByteArray& xml, Serialize::ObjectStorage& storage) {
    Serialize::MemoryContent content;
    auto object = Serialize::readArchive(xml, QStringLiteral("model.xml"), content, storage);
    T* typed = dynamic_cast<T*>(object.get());
    if (typed)
        object.release();
    return std::unique_ptr<T>(typed);
}

template <class T>
std::unique_ptr<T> roundTrip(const T& object) {
    Serialize::ObjectStorage storage;
    return fromXml<T>(toXml(object), storage);
}

Transformation::Object transformation(double x, double y, double scaleX, double scaleY,
                                      double rotation, double opacity) {
    Transformation::Object result;
    std::tie(result.x, result.y, result.scaleX, result.scaleY, result.rotation, result.opacity) =
        std::make_tuple(x, y, scaleX, scaleY, rotation, opacity);
    return result;
}

Timeline::Clip clipAt(qint32 track, qint64 position, qint64 length) {
    Timeline::Clip clip;
    clip.track = track;
    clip.timing.position = position;
    clip.timing.length = length;
    return clip;
}

// Every field of every part differs from its default.
Timeline::Object fullTimeline() {
    Timeline::Object timeline;
    timeline.setSceneSize(QSizeF(1280, 720));
    for (const char* name : {"Titles", "Main vidéo", "Music"})
        timeline.addTrack(QString::fromUtf8(name));
    timeline.setPrimaryTrack(1);

    Timeline::Clip video = clipAt(1, 0, 0);
    video.timing = {1500, 60000, 250, 4000, Timeline::VideoContent};
    video.media = {"C:/média/clip 東京.mp4",
                   {{Timeline::StreamDescription::Video, 1920, 1080},
                    {Timeline::StreamDescription::Audio, 0, 0},
                    {Timeline::StreamDescription::Video, 640, 360}}};
    auto lut = std::make_unique<Effect::Lut>();
    lut->title = "Wärme 暖かい 🎬";
    lut->description = "<warm & soft>";
    lut->intensity = 0.75;
    lut->lutResource = "{lut-1}:1";
    auto pip = std::make_unique<Effect::PictureInPicture>();
    pip->transform = Types::Transform(0.5, 0.1, 0, -0.1, 0.5, 0, 0.25, 0.125, 1);
    auto plain = std::make_unique<Effect::VideoEffect>("blur", Effect::Group::GroupCustom);
    plain->intensity = 0.3;
    video.addEffect(std::move(lut));
    video.addEffect(std::move(pip));
    video.addEffect(std::move(plain));
    Transformation::Envelope envelope;
    envelope.defaultValue = transformation(0.1, 0.2, 0.3, 0.4, 5, 0.6);
    envelope.keys = {{0.0, transformation(inf, -inf, nan, -0.0, 1e-300, 0.5)},
                     {1.0, transformation(-0.0, 1e-300, inf, nan, -inf, 0)}};
    video.setEnvelope(envelope);
    timeline.addClip(video);

    Timeline::Clip title = clipAt(0, 0, 0);
    title.timing = {0, 5000, 100, 4900, Timeline::OverlayContent};
    Overlay::Preset preset;
    std::tie(preset.kind, preset.name, preset.duration) =
        std::make_tuple(Overlay::Preset::Title, "Opening", 5000);
    Overlay::Item text;
    std::tie(text.name, text.kind, text.content, text.resource) =
        std::make_tuple("Caption", Overlay::Item::Shape, "Hello, 世界", "{font}:2");
    std::tie(text.begin, text.end, text.firstFraction, text.secondFraction) =
        std::make_tuple(0.1, 0.9, 0.2, 0.3);
    text.setTransform(Types::Transform(2, 0, 0, 0, 2, 0, 10, 20, 1));
    Transformation::Envelope itemEnvelope;
    itemEnvelope.keys = {{0.25, transformation(0, 0, 1, 1, 0, 0)},
                         {0.75, transformation(1, 1, 2, 2, 90, 1)}};
    text.setEnvelope(itemEnvelope);
    Overlay::Item sticker;
    sticker.kind = Overlay::Item::Video;
    preset.appendItem(text);
    preset.appendItem(sticker);
    title.setOverlayPreset(preset);
    timeline.addClip(title);

    timeline.addClip(clipAt(2, 200, 9000));
    return timeline;
}

void expectSameEnvelope(const Transformation::Envelope& a, const Transformation::Envelope& b) {
    EXPECT_EQ(a.defaultValue, b.defaultValue);
    ASSERT_EQ(a.keys.size(), b.keys.size());
    for (size_t i = 0; i < a.keys.size(); ++i)
        EXPECT_TRUE(a.keys[i].step == b.keys[i].step && a.keys[i].value == b.keys[i].value) << i;
}

void expectSameEffect(const Effect::Object& a, const Effect::Object& b) {
    ASSERT_EQ(a.typeName(), b.typeName());
    EXPECT_EQ(std::tie(a.title, a.description, a.id, a.group),
              std::tie(b.title, b.description, b.id, b.group));
    if (auto* video = dynamic_cast<const Effect::VideoEffect*>(&a)) {
        EXPECT_EQ(video->intensity, dynamic_cast<const Effect::VideoEffect&>(b).intensity);
    }
    if (auto* lut = dynamic_cast<const Effect::Lut*>(&a)) {
        EXPECT_EQ(lut->lutResource, dynamic_cast<const Effect::Lut&>(b).lutResource);
    }
    if (auto* pip = dynamic_cast<const Effect::PictureInPicture*>(&a)) {
        EXPECT_EQ(pip->transform, dynamic_cast<const Effect::PictureInPicture&>(b).transform);
    }
}

void expectSamePreset(const Overlay::Preset& a, const Overlay::Preset& b) {
    EXPECT_EQ(std::tie(a.kind, a.name, a.duration), std::tie(b.kind, b.name, b.duration));
    ASSERT_EQ(a.items.size(), b.items.size());
    auto fields = [](const Overlay::Item& i) {
        return std::tie(i.name, i.kind, i.content, i.resource, i.begin, i.end, i.firstFraction,
                        i.secondFraction, i.transform);
    };
    for (size_t i = 0; i < a.items.size(); ++i) {
        EXPECT_EQ(fields(a.items[i]), fields(b.items[i]));
        expectSameEnvelope(a.items[i].envelope, b.items[i].envelope);
    }
}

void expectSameTimeline(const Timeline::Object& a, const Timeline::Object& b) {
    EXPECT_EQ(a.sceneSize(), b.sceneSize());
    ASSERT_EQ(a.tracks().size(), b.tracks().size());
    for (size_t i = 0; i < a.tracks().size(); ++i)
        EXPECT_EQ(a.tracks()[i].name, b.tracks()[i].name);
    EXPECT_EQ(a.primaryTrackIndex(), b.primaryTrackIndex());
    ASSERT_EQ(a.clips().size(), b.clips().size());
    for (size_t i = 0; i < a.clips().size(); ++i) {
        const Timeline::Clip& x = *a.clips()[i];
        const Timeline::Clip& y = *b.clips()[i];
        EXPECT_EQ(std::tie(x.track, x.timing, x.media), std::tie(y.track, y.timing, y.media));
        ASSERT_EQ(x.effects().size(), y.effects().size());
        for (size_t e = 0; e < x.effects().size(); ++e)
            expectSameEffect(*x.effects()[e], *y.effects()[e]);
        ASSERT_EQ(!x.overlayPreset(), !y.overlayPreset());
        if (x.overlayPreset())
            expectSamePreset(*x.overlayPreset(), *y.overlayPreset());
        ASSERT_EQ(!x.envelope(), !y.envelope());
        if (x.envelope())
            expectSameEnvelope(*x.envelope(), *y.envelope());
    }
}

std::string timelineReadError(const QByteArray& xml) {
    Serialize::ObjectStorage storage;
    return TestSupport::errorFrom<Serialize::Error>(
        [&] { fromXml<Timeline::Object>(xml, storage); });
}

}  // namespace

TEST(TimelineArchive, EveryFieldRoundTripsExactly) {
    const Timeline::Object timeline = fullTimeline();
    const auto back = roundTrip(timeline);
    ASSERT_NE(back, nullptr);
    expectSameTimeline(*back, timeline);
    // The comparison is bitwise: make sure a nan and a negative zero really came back.
    EXPECT_TRUE(std::isnan(back->clips()[0]->envelope()->keys[0].value.scaleX));
    EXPECT_TRUE(std::signbit(back->clips()[0]->envelope()->keys[1].value.x));
}

TEST(TimelineCopy, IsDeepAndOutlivesItsSource) {
    auto source = std::make_unique<Timeline::Object>(fullTimeline());
    const Timeline::Object copy(*source);
    Timeline::Object assigned;
    assigned.addTrack("stale");
    assigned.addClip(clipAt(0, 0, 1));
    assigned = *source;

    // Change the source's parts in place, then drop it: the copies keep what was copied.
    Timeline::Clip& video = *source->clips()[0];
    video.timing.position = 99;
    dynamic_cast<Effect::Lut&>(*video.effects()[0]).lutResource = "changed";
    video.addEffect(std::make_unique<Effect::Lut>());
    video.setEnvelope(Transformation::Envelope());
    source->clearTrack(source->track(0));
    source.reset();
    const Timeline::Object expected = fullTimeline();
    expectSameTimeline(copy, expected);
    expectSameTimeline(assigned, expected);
}

TEST(Timeline, ClearTrackDurationAndMissingTracks) {
    Timeline::Object timeline;
    EXPECT_EQ(timeline.duration(), 0);
    timeline.addTrack("a");
    timeline.addTrack("b");
    timeline.setPrimaryTrack(1);
    timeline.addClip(clipAt(0, 0, 1000));
    timeline.addClip(clipAt(1, 500, 3000));  // ends last, on the primary track
    timeline.addClip(clipAt(0, 2000, 1000));
    EXPECT_EQ(timeline.duration(), 3500);

    Timeline::Object other;
    other.addTrack("a");
    timeline.clearTrack(nullptr);
    timeline.clearTrack(other.track(0));
    EXPECT_EQ(timeline.clips().size(), 3u);
    timeline.clearTrack(timeline.track(0));
    ASSERT_EQ(timeline.clips().size(), 1u);
    EXPECT_EQ(timeline.clips()[0]->track, 1);
    EXPECT_EQ(timeline.duration(), 3500);

    EXPECT_THROW(timeline.addClip(clipAt(2, 0, 1)), std::out_of_range);
    EXPECT_THROW(timeline.addClip(clipAt(-1, 0, 1)), std::out_of_range);
    EXPECT_EQ(timeline.clips().size(), 1u);
}

TEST(ClipOrder, PositionThenTrackAndTiesKeepTheFirst) {
    const Timeline::Clip a = clipAt(1, 100, 10), b = clipAt(0, 100, 99), c = clipAt(2, 50, 1),
                         twinOfA = clipAt(1, 100, 500);
    const Timeline::ClipOrder less;
    EXPECT_TRUE(less(&c, &b) && less(&b, &a));
    EXPECT_FALSE(less(&a, &twinOfA) || less(&twinOfA, &a));

    const std::set<const Timeline::Clip*, Timeline::ClipOrder> ordered{&a, &b, &c, &twinOfA};
    EXPECT_EQ(std::vector<const Timeline::Clip*>(ordered.begin(), ordered.end()),
              (std::vector<const Timeline::Clip*>{&c, &b, &a}));
}

TEST(EnvelopeArchive, DefaultThenNumberedKeysOfStepAndValue) {
    Transformation::Envelope envelope;
    for (double step : {0.0, 0.5, 1.0})
        envelope.keys.emplace_back(step, transformation(step, 0, 1, 1, 0, 1));
    QStringList names, classes;
    QString keyCount;
    QXmlStreamReader reader(toXml(envelope));
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        names << reader.name().toString();
        if (reader.attributes().hasAttribute("class"))
            classes << reader.attributes().value("class").toString();
        if (reader.name() == QLatin1String("keyValues"))
            keyCount = reader.attributes().value("count").toString();
    }
    ASSERT_FALSE(reader.hasError()) << reader.errorString().toStdString();

    ASSERT_GE(names.indexOf("defaultValue"), 0);
    EXPECT_LT(names.indexOf("defaultValue"), names.indexOf("keyValues"));
    EXPECT_EQ(keyCount, "3");
    EXPECT_EQ(names.count("Data"), 3);
    for (int i = names.indexOf("Data"); i >= 0; i = names.indexOf("Data", i + 1))
        EXPECT_EQ(names.mid(i - 1, 4), QStringList({"e", "Data", "step", "value"}));
    EXPECT_EQ(classes.value(0), "Animation::Item<Transformation::Object>");
    EXPECT_EQ(classes.count("Animation::KeyValue<Transformation::Object>"), 3);
}

TEST(EnvelopeArchive, ReadingReplacesTheKeysOfEmptyAndFilledEnvelopes) {
    // An envelope that never held a key has no blocks: Boost's clear() on it is undefined
    // behaviour (clang's sanitizer in the fuzzer reports it), so reading skips it there. Reading
    // into a filled envelope must still replace its keys.
    Transformation::Envelope twoKeys;
    for (double step : {0.25, 0.75})
        twoKeys.keys.emplace_back(step, transformation(step, 0, 1, 1, 0, 1));
    const QByteArray noKeysXml = toXml(Transformation::Envelope());
    const QByteArray twoKeysXml = toXml(twoKeys);
    for (const int before : {0, 5}) {
        for (const QByteArray* xml : {&noKeysXml, &twoKeysXml}) {
            Transformation::Envelope envelope;
            for (int i = 0; i < before; ++i)
                envelope.keys.emplace_back(0.1 * i, transformation(0, 0, 1, 1, 0, 1));
            Serialize::NoContentSource source;
            Serialize::ObjectStorage storage;
            Serialize::readArchive(*xml, "envelope.xml", envelope, source, storage);
            EXPECT_EQ(envelope.keys.size(), xml == &noKeysXml ? 0u : 2u) << before;
            if (xml == &twoKeysXml)
                expectSameEnvelope(envelope, twoKeys);
        }
    }
}

TEST(TimelineArchive, ReaderRefusesBrokenTimelines) {
    // Only the video clip lies on track 1, the primary one; only it has a LUT effect.
    const QByteArray xml = toXml(fullTimeline());
    ASSERT_EQ(timelineReadError(xml), "");

    QByteArray offTrack = xml;
    offTrack.replace("<track t=\"i32\">1</track>", "<track t=\"i32\">4</track>");
    ASSERT_NE(offTrack, xml);
    EXPECT_THAT(timelineReadError(offTrack), HasSubstr("track 4, which does not exist"));

    QByteArray badPrimary = xml;
    badPrimary.replace("<primaryTrack t=\"i32\">1<", "<primaryTrack t=\"i32\">3<");
    ASSERT_NE(badPrimary, xml);
    EXPECT_THAT(timelineReadError(badPrimary), HasSubstr("primary track 3 does not exist"));

    // A well-formed object of another type where the effect stood.
    QByteArray foreign = xml;
    const int begin = foreign.indexOf("<Data t=\"obj\" class=\"Effect::Lut\">");
    const int end = foreign.indexOf("</Data>", begin);
    const QByteArray other = toXml(Transformation::Object());
    const int bodyBegin = other.indexOf("<x ");
    ASSERT_TRUE(begin >= 0 && bodyBegin >= 0);
    foreign.replace(begin, end - begin,
                    "<Data t=\"obj\" class=\"Transformation::Object\">" +
                        other.mid(bodyBegin, other.indexOf("</root>") - bodyBegin));
    EXPECT_THAT(timelineReadError(foreign),
                HasSubstr("expected an effect, found a Transformation::Object"));
}

TEST(EffectArchive, CatalogueIdsSurviveAndIntensityIsOptIn) {
    EXPECT_FALSE(Effect::VideoEffect().isIntensityAdjustable());
    const auto lut = roundTrip(Effect::Lut());
    ASSERT_NE(lut, nullptr);
    EXPECT_EQ(std::tie(lut->id, lut->group), std::tie(Effect::Id::Lut, Effect::Group::GroupColor));
    const auto pip = roundTrip(Effect::PictureInPicture());
    ASSERT_NE(pip, nullptr);
    EXPECT_EQ(std::tie(pip->id, pip->group),
              std::tie(Effect::Id::PictureInPicture, Effect::Group::GroupPip));
}

TEST(CollectionItemArchive, TransitionAndImportRoundTripEveryField) {
    Transition::Object transition(Transition::Id::MaskTransition);
    transition.title = "Iris ◯";
    transition.description = "Opens & closes";
    transition.maskMode = 2;
    transition.overlayMode = 3;
    transition.resources = {{1, "{mask}"}, {4, "{overlay}"}};
    auto transitionFields = [](const Transition::Object& t) {
        return std::tie(t.title, t.description, t.id, t.maskMode, t.overlayMode, t.resources);
    };
    const auto transitionBack = roundTrip(transition);
    ASSERT_NE(transitionBack, nullptr);
    EXPECT_EQ(transitionFields(*transitionBack), transitionFields(transition));

    Import::Object import;
    import.setCategory("Nature");
    import.setTitle("Wald");
    import.setDescription("Bäume im Wind");
    import.setKind(Import::Object::Intro);
    import.setLocation("#DOWNLOADABLE_PATH#/forest.mp4");
    import.setRemoteUrl("https://example.com/forest.mp4?a=1&b=2");
    auto importFields = [](const Import::Object& i) {
        return std::make_tuple(i.category(), i.title(), i.description(), i.kind(), i.location(),
                               i.remoteUrl());
    };
    const auto importBack = roundTrip(import);
    ASSERT_NE(importBack, nullptr);
    EXPECT_EQ(importFields(*importBack), importFields(import));
}

TEST(ProjectContent, ReadTimelineLivesInTheReadersStorage) {
    Timeline::Object timeline = fullTimeline();
    Project::Content content;
    content.projectObject = &timeline;
    Serialize::ObjectStorage storage;
    const auto back = fromXml<Project::Content>(toXml(content), storage);
    ASSERT_NE(back, nullptr);
    const auto* read = dynamic_cast<const Timeline::Object*>(back->projectObject);
    ASSERT_NE(read, nullptr);
    EXPECT_NE(read, &timeline);
    EXPECT_EQ(storage.size(), 1u);
    expectSameTimeline(*read, timeline);

    // An owned clone would leave the timeline in a storage that dies with the call.
    const Serialize::Cloner cloner;
    EXPECT_THROW(cloner.cloneOwned(&content), std::logic_error);
    Effect::Lut lut;
    lut.lutResource = "{lut}:1";
    const auto clone = cloner.cloneOwned(&lut);
    const auto* lutClone = dynamic_cast<const Effect::Lut*>(clone.get());
    ASSERT_NE(lutClone, nullptr);
    EXPECT_EQ(lutClone->lutResource, lut.lutResource);
}

TEST(Envelope, ValueAtHoldsTheEndsAndBlendsBetweenKeys) {
    Transformation::Envelope envelope;
    envelope.defaultValue = transformation(0.1, 0.2, 0.3, 0.4, 0.5, 0.6);
    EXPECT_EQ(envelope.valueAt(0.5), envelope.defaultValue);

    const Transformation::Object first = transformation(0, 0, 1, 1, 0, 0);
    const Transformation::Object last = transformation(1, 0.5, 3, 2, 90, 1);
    envelope.keys = {{0.25, first}, {0.75, last}};
    EXPECT_EQ(envelope.valueAt(0.0), first);
    EXPECT_EQ(envelope.valueAt(0.25), first);
    EXPECT_EQ(envelope.valueAt(0.75), last);
    EXPECT_EQ(envelope.valueAt(1.0), last);
    // Binary fractions throughout, so the blend is exact.
    EXPECT_EQ(envelope.valueAt(0.375), transformation(0.25, 0.125, 1.5, 1.25, 22.5, 0.25));
}
