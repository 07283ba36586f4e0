#include "platform/model/timeline_clip.h"

#include "platform/serialize/cloner.h"
#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"
#include "platform/serialize/type_registry.h"

namespace Timeline {

static const Serialize::RegisterType<Clip> registerClip("Timeline::Clip");

Clip::Clip(const Clip& other)
    : Serialize::ISerializable(other),
      track(other.track),
      timing(other.timing),
      media(other.media) {
    // Effects are of many types; the cloner copies any of them.
    const Serialize::Cloner cloner;
    for (const auto& effect : other.m_effects) {
        std::unique_ptr<Serialize::ISerializable> copy = cloner.cloneOwned(effect.get());
        Effect::Object& typed = dynamic_cast<Effect::Object&>(*copy);
        copy.release();
        m_effects.emplace_back(&typed);
    }
    if (other.m_preset)
        m_preset = std::make_unique<Overlay::Preset>(*other.m_preset);
    if (other.m_envelope)
        m_envelope = std::make_unique<Transformation::Envelope>(*other.m_envelope);
}

Clip& Clip::operator=(const Clip& other) {
    if (this != &other) {
        Clip copy(other);
        *this = std::move(copy);
    }
    return *this;
}

void Clip::addEffect(std::unique_ptr<Effect::Object> effect) {
    if (effect)
        m_effects.push_back(std::move(effect));
}

void Clip::setOverlayPreset(const Overlay::Preset& preset) {
    m_preset = std::make_unique<Overlay::Preset>(preset);
}

void Clip::setEnvelope(const Transformation::Envelope& envelope) {
    m_envelope = std::make_unique<Transformation::Envelope>(envelope);
}

void Clip::Serialize(Serialize::ISerializer& s) const {
    s.write("track", track);
    s.key("timing");
    s.beginSection();
    s.write("position", timing.position);
    s.write("contentLength", timing.contentLength);
    s.write("inPoint", timing.inPoint);
    s.write("length", timing.length);
    s.write("contentKind", timing.contentKind);
    s.endSection();
    s.key("media");
    s.beginSection();
    s.write("sourcePath", media.sourcePath);
    s.key("streams");
    s.beginArray(qint64(media.streams.size()));
    for (const StreamDescription& stream : media.streams) {
        s.beginElement();
        s.write("type", stream.type);
        s.write("width", stream.width);
        s.write("height", stream.height);
        s.endElement();
    }
    s.endArray();
    s.endSection();
    s.key("effects");
    s.beginArray(qint64(m_effects.size()));
    for (const auto& effect : m_effects) {
        s.beginElement();
        s.write("Data", effect.get());
        s.endElement();
    }
    s.endArray();
    s.write("overlayPreset", m_preset.get());
    s.write("envelope", m_envelope.get());
}

void Clip::Deserialize(Serialize::IDeserializer& d) {
    d.read("track", track);
    d.key("timing");
    d.beginSection();
    d.read("position", timing.position);
    d.read("contentLength", timing.contentLength);
    d.read("inPoint", timing.inPoint);
    d.read("length", timing.length);
    d.read("contentKind", timing.contentKind);
    d.endSection();
    d.key("media");
    d.beginSection();
    d.read("sourcePath", media.sourcePath);
    media.streams.clear();
    d.key("streams");
    const qint64 streams = d.beginArray();
    for (qint64 i = 0; i < streams; ++i) {
        d.beginElement();
        StreamDescription stream;
        d.read("type", stream.type);
        d.read("width", stream.width);
        d.read("height", stream.height);
        media.streams.push_back(stream);
        d.endElement();
    }
    d.endArray();
    d.endSection();

    m_effects.clear();
    d.key("effects");
    const qint64 effects = d.beginArray();
    for (qint64 i = 0; i < effects; ++i) {
        d.beginElement();
        d.key("Data");
        std::unique_ptr<Effect::Object> effect =
            d.readObjectAs<Effect::Object>(QStringLiteral("an effect"));
        if (!effect)
            d.fail(QStringLiteral("expected an effect, found a null object"));
        m_effects.push_back(std::move(effect));
        d.endElement();
    }
    d.endArray();
    d.key("overlayPreset");
    m_preset = d.readObjectAs<Overlay::Preset>(QStringLiteral("an overlay preset"));
    d.key("envelope");
    m_envelope =
        d.readObjectAs<Transformation::Envelope>(QStringLiteral("a transformation envelope"));
}

}  // namespace Timeline
