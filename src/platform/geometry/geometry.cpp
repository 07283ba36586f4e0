#include "platform/geometry/geometry.h"

#include <QtMath>
#include <algorithm>

#include "platform/model/timeline_object.h"

namespace Geometry {

QTransform FromUniform(const QRectF& rect, const QTransform& transform) {
    // Unit square to rect, then conjugate: rect -> unit, transform, unit -> rect.
    const QTransform toRect = QTransform::fromScale(rect.width(), rect.height()) *
                              QTransform::fromTranslate(rect.x(), rect.y());
    bool invertible = false;
    const QTransform fromRect = toRect.inverted(&invertible);
    if (!invertible)
        return transform;
    return fromRect * transform * toRect;
}

double ExtractRotation(const QTransform& transform) {
    return qRadiansToDegrees(std::atan2(transform.m12(), transform.m11()));
}

QPointF ExtractTranslate(const QTransform& transform) {
    return QPointF(transform.dx(), transform.dy());
}

QTransform RescaleTransform(const QSizeF& from, const QSizeF& to, bool keepAspect) {
    if (from.isEmpty() || to.isEmpty())
        return QTransform();
    const double sx = to.width() / from.width();
    const double sy = to.height() / from.height();
    if (keepAspect) {
        const double s = std::min(sx, sy);
        return QTransform::fromScale(s, s);
    }
    return QTransform::fromScale(sx, sy);
}

QSizeF timelineSceneSize(const Timeline::Object* timeline) {
    return timeline ? timeline->sceneSize() : Timeline::Object::defaultSceneSize();
}

}  // namespace Geometry
