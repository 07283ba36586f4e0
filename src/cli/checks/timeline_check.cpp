#include "cli/checks/timeline_check.h"

#include <QRectF>
#include <algorithm>

#include "platform/model/overlay_preset.h"
#include "platform/model/timeline_clip.h"

namespace Cli {
namespace {

// The scene in the unit square, where the identity placement fills it.
const QRectF kScene(0.0, 0.0, 1.0, 1.0);

// Where an item's placement puts it, moved and scaled as one key of its envelope says: the key's
// x and y place the centre (0.5 leaves it), its scales act about the scene's centre.
QRectF placed(const QRectF& placement, const Transformation::Object& key) {
    const double width = placement.width() * key.scaleX;
    const double height = placement.height() * key.scaleY;
    const QPointF centre(0.5 + (placement.center().x() - 0.5) * key.scaleX + (key.x - 0.5),
                         0.5 + (placement.center().y() - 0.5) * key.scaleY + (key.y - 0.5));
    return QRectF(centre.x() - width / 2, centre.y() - height / 2, width, height).normalized();
}

bool outside(const QRectF& rect) {
    // Touching the edge is not being in the scene.
    return !(rect.right() > kScene.left() && rect.left() < kScene.right() &&
             rect.bottom() > kScene.top() && rect.top() < kScene.bottom());
}

bool itemOutside(const Overlay::Item& item, QRectF* where) {
    const QRectF placement = item.transform.toQTransform().mapRect(kScene);
    const auto& keys = item.envelope.keys;
    if (keys.empty()) {
        *where = placed(placement, item.envelope.defaultValue);
        return outside(*where);
    }
    for (const auto& key : keys) {
        *where = placed(placement, key.value);
        if (!outside(*where))
            return false;
    }
    return true;
}

QString range(double from, double to) {
    return QStringLiteral("%1 to %2").arg(from, 0, 'g', 3).arg(to, 0, 'g', 3);
}

}  // namespace

QStringList TimelineCheck::warnings(const Timeline::Object& timeline, const QString& file) {
    // A generated timeline can repeat one mistake a million times: the first few say it.
    constexpr int kShown = 20;
    QStringList found;
    int more = 0;
    const auto add = [&](int clip, const QString& text) {
        if (found.size() < kShown)
            found << QStringLiteral("%1: clips[%2]%3").arg(file).arg(clip).arg(text);
        else
            ++more;
    };
    int index = 0;
    for (const auto& clip : timeline.clips()) {
        const int at = index++;
        if (clip->timing.length == 0)
            add(at, QStringLiteral(".length: a clip of zero length: the fractions that place its "
                                   "keyframes and fades are undefined"));
        const Overlay::Preset* preset = clip->overlayPreset();
        if (!preset)
            continue;
        if (preset->duration == 0)
            add(at, QStringLiteral(".overlay.duration: an overlay of zero duration: its items' "
                                   "begin and end fractions are undefined"));
        for (size_t i = 0; i < preset->items.size(); ++i) {
            QRectF where;
            if (itemOutside(preset->items[i], &where))
                add(at, QStringLiteral(".overlay.items[%1]: the item lies outside the scene "
                                       "(x %2, y %3, in fractions of the scene)")
                            .arg(i)
                            .arg(range(where.left(), where.right()),
                                 range(where.top(), where.bottom())));
        }
    }
    if (more > 0)
        found << QStringLiteral("%1: %2 more warnings like these").arg(file).arg(more);
    return found;
}

}  // namespace Cli
