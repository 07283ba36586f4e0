#pragma once

#include <QString>

#include "platform/model/transition_object.h"
#include "platform/model/video_effect.h"

// The items of external-shader effects and transitions: a shader file and an optional auxiliary
// image, both package resources referred to by id. An effect keeps its intensity in its
// VideoEffect base; a transition keeps its own. Plain serializable values; reading one throws
// Serialize::Error for a malformed archive.

namespace Effect {

class ExternalShader : public VideoEffect, public virtual Serialize::ISerializable {
public:
    ExternalShader();

    qint32 apiVersion = 0;
    bool supportsIntensity = false;
    QString shaderResource;
    QString auxImageResource;

    bool isIntensityAdjustable() const override { return supportsIntensity; }

    static std::string staticTypeName() { return "Effect::ExternalShader"; }
    std::string typeName() const override { return staticTypeName(); }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

}  // namespace Effect

namespace Transition {

class ExternalShader : public Object, public virtual Serialize::ISerializable {
public:
    ExternalShader() : Object(Id::ExternalShader) {}

    qint32 apiVersion = 0;
    bool supportsIntensity = false;
    double intensity = 0.0;
    QString shaderResource;
    QString auxImageResource;

    static std::string staticTypeName() { return "Transition::ExternalShader"; }
    std::string typeName() const override { return staticTypeName(); }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

}  // namespace Transition
