#pragma once

#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QTransform>

namespace Timeline {
class Object;
}

// Geometry helpers for placing pictures in a scene. Transforms follow Qt's convention: in a product
// A * B, A is applied first. Pure functions that throw nothing.
namespace Geometry {

// Expresses `transform`, given in the unit square, in the coordinates of `rect` (the identity
// stays the identity; a scale by 0.5 about the unit square's origin becomes a scale by 0.5 about
// the rectangle's top-left corner).
QTransform FromUniform(const QRectF& rect, const QTransform& transform);

// The rotation of a transform, in degrees (counter-clockwise in Qt's y-down coordinates, as
// QTransform::rotate turns).
double ExtractRotation(const QTransform& transform);

// The translation part of a transform.
QPointF ExtractTranslate(const QTransform& transform);

// The scale that takes sizes `from` to `to`; with `keepAspect` one factor for both axes, the
// smaller of the two, so that `from` fits inside `to`.
QTransform RescaleTransform(const QSizeF& from, const QSizeF& to, bool keepAspect);

// The scene size of a timeline: its own, or 1920 x 1080 when it sets none (or for no timeline).
QSizeF timelineSceneSize(const Timeline::Object* timeline);

}  // namespace Geometry
