#include "package/components/effects/external_shader.h"

#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"

namespace Effect {

ExternalShader::ExternalShader() : VideoEffect(Id::ExternalShader, Id::ExternalShader) {
    title = QStringLiteral("effect_external_shader");
}

void ExternalShader::Serialize(Serialize::ISerializer& s) const {
    s.key("BaseOfObject");
    s.beginSection();
    VideoEffect::Serialize(s);
    s.endSection();
    s.write("apiVersion", apiVersion);
    s.write("supportsIntensity", supportsIntensity);
    s.write("shaderResource", shaderResource);
    s.write("auxImageResource", auxImageResource);
}

void ExternalShader::Deserialize(Serialize::IDeserializer& d) {
    d.key("BaseOfObject");
    d.beginSection();
    VideoEffect::Deserialize(d);
    d.endSection();
    d.read("apiVersion", apiVersion);
    d.read("supportsIntensity", supportsIntensity);
    d.read("shaderResource", shaderResource);
    d.read("auxImageResource", auxImageResource);
}

}  // namespace Effect

namespace Transition {

void ExternalShader::Serialize(Serialize::ISerializer& s) const {
    s.key("BaseOfObject");
    s.beginSection();
    Object::Serialize(s);
    s.endSection();
    s.write("apiVersion", apiVersion);
    s.write("supportsIntensity", supportsIntensity);
    s.write("intensity", intensity);
    s.write("shaderResource", shaderResource);
    s.write("auxImageResource", auxImageResource);
}

void ExternalShader::Deserialize(Serialize::IDeserializer& d) {
    d.key("BaseOfObject");
    d.beginSection();
    Object::Deserialize(d);
    d.endSection();
    d.read("apiVersion", apiVersion);
    d.read("supportsIntensity", supportsIntensity);
    d.read("intensity", intensity);
    d.read("shaderResource", shaderResource);
    d.read("auxImageResource", auxImageResource);
}

}  // namespace Transition
