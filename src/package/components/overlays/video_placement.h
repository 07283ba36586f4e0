#pragma once

#include <QSizeF>
#include <QTransform>

#include "platform/model/transform.h"

namespace Effect {
class Object;
}
namespace Timeline {
class Clip;
class Object;
}  // namespace Timeline

namespace Package {

// Geometry of the overlay build's video items; pure functions that throw nothing.

// The transform that fits size `from` into size `to`, stretching: the identity when either size is
// null or the two are equal (within a relative 1e-12).
QTransform fitTransform(const QSizeF& from, const QSizeF& to);

// Where an overlay's video item shows a clip, in the 1280 x 720 reference scene of overlay items:
// the clip's picture fitted into the timeline's scene (keeping its aspect ratio), placed by the
// clip's picture-in-picture effect `effect` (its own transform for a picture-in-picture effect,
// the whole scene for side-by-side or any other effect of the group).
Types::Transform videoPlacement(const Timeline::Object* timeline, const Timeline::Clip& clip,
                                const Effect::Object& effect);

}  // namespace Package
