#pragma once

#include "platform/model/transition_object.h"

// The items of template transitions: a transition whose look comes from one media file, which the
// item refers to in its resource list. They add no values of their own; each fixes how the editor
// uses the file. Reading one throws Serialize::Error for a malformed archive.

namespace Transition {

// The file is a mask that reveals the incoming clip.
class MaskTransition : public Object, public virtual Serialize::ISerializable {
public:
    MaskTransition() : Object(Id::MaskTransition) { maskMode = 1; }

    static std::string staticTypeName() { return "Transition::MaskTransition"; }
    std::string typeName() const override { return staticTypeName(); }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

// The file is a clip played over the cut.
class Overlay : public Object, public virtual Serialize::ISerializable {
public:
    Overlay() : Object(Id::Overlay) { overlayMode = 3; }

    static std::string staticTypeName() { return "Transition::Overlay"; }
    std::string typeName() const override { return staticTypeName(); }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

}  // namespace Transition
