#include "platform/model/animation.h"

#include "platform/serialize/type_registry.h"

namespace Animation {

const Transformation::Object ValueTypeTrait<Transformation::Object>::s_defaultValue{};

static const Serialize::RegisterType<KeyValue<Transformation::Object>> registerKey(
    "Animation::KeyValue<Transformation::Object>");
static const Serialize::RegisterType<Transformation::Envelope> registerEnvelope(
    "Animation::Item<Transformation::Object>");

}  // namespace Animation

namespace Envelope {

Transformation::Object TransformationInterpolator::interpolate(const Transformation::Object& from,
                                                               const Transformation::Object& to,
                                                               double t) {
    auto mix = [t](double a, double b) { return a + (b - a) * t; };
    Transformation::Object result;
    result.x = mix(from.x, to.x);
    result.y = mix(from.y, to.y);
    result.scaleX = mix(from.scaleX, to.scaleX);
    result.scaleY = mix(from.scaleY, to.scaleY);
    result.rotation = mix(from.rotation, to.rotation);
    result.opacity = mix(from.opacity, to.opacity);
    return result;
}

}  // namespace Envelope
