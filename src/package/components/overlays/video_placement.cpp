#include "package/components/overlays/video_placement.h"

#include <cmath>

#include "platform/geometry/geometry.h"
#include "platform/model/timeline_object.h"
#include "platform/model/video_effect.h"

namespace Package {
namespace {

bool nearlyEqual(double a, double b) {
    return std::abs(a - b) * 1e12 <= std::min(std::abs(a), std::abs(b));
}

// Overlay items are placed in this scene, whatever the timeline's.
const QSizeF referenceScene(1280, 720);

}  // namespace

QTransform fitTransform(const QSizeF& from, const QSizeF& to) {
    if (from.isNull() || to.isNull() ||
        (nearlyEqual(from.width(), to.width()) && nearlyEqual(from.height(), to.height())))
        return QTransform();
    const double sx = to.width() / from.width();
    const double sy = to.height() / from.height();
    return QTransform::fromScale(sx, sy) *
           QTransform::fromTranslate((to.width() - from.width() * sx) * 0.5,
                                     (to.height() - from.height() * sy) * 0.5);
}

Types::Transform videoPlacement(const Timeline::Object* timeline, const Timeline::Clip& clip,
                                const Effect::Object& effect) {
    using namespace Geometry;
    Types::Transform placement;
    if (effect.id == Effect::Id::PictureInPicture) {
        if (const auto* pip = dynamic_cast<const Effect::PictureInPicture*>(&effect))
            placement = pip->transform;
    } else if (effect.id == Effect::Id::SideBySide) {
        placement = Types::Transform::fromQTransform(QTransform());
    }

    const QSizeF scene = timelineSceneSize(timeline);
    const QRectF sceneRect(QPointF(0, 0), scene);
    QSizeF video(0, 0);  // no stream described: a null size, which fits as the identity
    if (!clip.media.streams.empty())
        video = QSizeF(clip.media.streams.front().width, clip.media.streams.front().height);
    const QSizeF fit = video.scaled(scene, Qt::KeepAspectRatio);
    const QSizeF margin((scene.width() - fit.width()) * 0.5, (scene.height() - fit.height()) * 0.5);

    const QTransform t = FromUniform(sceneRect, placement.toQTransform());
    const double angle = ExtractRotation(t);
    const QTransform unrotated = t * QTransform().rotate(angle).inverted();
    const QSizeF m = unrotated.mapRect(QRectF(QPointF(0, 0), margin)).size();
    const QSizeF target =
        unrotated.mapRect(sceneRect).size() - QSizeF(2 * m.width(), 2 * m.height());

    const QPointF offset = ExtractTranslate(t);
    const QTransform placed =
        fitTransform(video, target) * QTransform::fromTranslate(m.width(), m.height()) *
        QTransform().rotate(angle) * QTransform::fromTranslate(offset.x(), offset.y());
    const QTransform rescale = RescaleTransform(referenceScene, scene, true);
    return Types::Transform::fromQTransform(placed * rescale.inverted());
}

}  // namespace Package
