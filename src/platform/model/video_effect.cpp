#include "platform/model/video_effect.h"

#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"
#include "platform/serialize/type_registry.h"

namespace Effect {
namespace {

const Serialize::RegisterType<VideoEffect> registerVideoEffect("Effect::VideoEffect");
const Serialize::RegisterType<Lut> registerLut("Effect::Lut");
const Serialize::RegisterType<PictureInPicture> registerPip("Effect::PictureInPicture");

}  // namespace

// Each class writes its base's body first, in a section under "BaseOfObject", then its own
// values; reading mirrors it.

void VideoEffect::Serialize(Serialize::ISerializer& s) const {
    s.key("BaseOfObject");
    s.beginSection();
    Object::Serialize(s);
    s.endSection();
    s.write("intensity", intensity);
}

void VideoEffect::Deserialize(Serialize::IDeserializer& d) {
    d.key("BaseOfObject");
    d.beginSection();
    Object::Deserialize(d);
    d.endSection();
    d.read("intensity", intensity);
}

void Lut::Serialize(Serialize::ISerializer& s) const {
    s.key("BaseOfObject");
    s.beginSection();
    VideoEffect::Serialize(s);
    s.endSection();
    s.write("lutResource", lutResource);
}

void Lut::Deserialize(Serialize::IDeserializer& d) {
    d.key("BaseOfObject");
    d.beginSection();
    VideoEffect::Deserialize(d);
    d.endSection();
    d.read("lutResource", lutResource);
}

void PictureInPicture::Serialize(Serialize::ISerializer& s) const {
    s.key("BaseOfObject");
    s.beginSection();
    VideoEffect::Serialize(s);
    s.endSection();
    s.write("transform", &transform);
}

void PictureInPicture::Deserialize(Serialize::IDeserializer& d) {
    d.key("BaseOfObject");
    d.beginSection();
    VideoEffect::Deserialize(d);
    d.endSection();
    d.key("transform");
    d.readObjectInto(transform);
}

}  // namespace Effect
