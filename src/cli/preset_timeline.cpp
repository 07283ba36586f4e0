#include "cli/preset_timeline.h"

#include <QJsonArray>
#include <algorithm>
#include <cmath>
#include <vector>

#include "cli/diff_node.h"
#include "platform/model/animation.h"

namespace Cli {
namespace {

// The reference scene of video items: with it, placing a video rescales nothing.
constexpr int kSceneWidth = 1280;
constexpr int kSceneHeight = 720;

const QStringList kOverlayTypes = {QStringLiteral("title"), QStringLiteral("callout"),
                                   QStringLiteral("sticker")};

QString itemKindName(qint32 kind) {
    switch (kind) {
        case Overlay::Item::Text:
            return QStringLiteral("text");
        case Overlay::Item::Image:
            return QStringLiteral("image");
        case Overlay::Item::Shape:
            return QStringLiteral("shape");
        case Overlay::Item::Video:
            return QStringLiteral("video");
        default:
            return QString();
    }
}

bool same(double a, double b) {
    return DiffNode::sameDouble(a, b);
}

QJsonArray matrix(const Types::Transform& transform, const QString& item,
                  QStringList* approximations) {
    const auto& values = transform.values();
    if (!std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); })) {
        *approximations << item + QStringLiteral(
                                      ": its transform holds numbers that are not "
                                      "finite; it is the identity in the rebuild");
        return matrix(Types::Transform(), item, approximations);
    }
    QJsonArray array;
    for (double value : values)
        array.append(value);
    return array;
}

QJsonObject key(const Animation::KeyValue<Transformation::Object>& key) {
    const Transformation::Object& v = key.value;
    return QJsonObject{{QStringLiteral("step"), key.step},
                       {QStringLiteral("x"), v.x},
                       {QStringLiteral("y"), v.y},
                       {QStringLiteral("scaleX"), v.scaleX},
                       {QStringLiteral("scaleY"), v.scaleY},
                       {QStringLiteral("rotation"), v.rotation},
                       {QStringLiteral("opacity"), v.opacity}};
}

bool finite(const Animation::KeyValue<Transformation::Object>& k) {
    const Transformation::Object& v = k.value;
    return std::isfinite(k.step) && std::isfinite(v.x) && std::isfinite(v.y) &&
           std::isfinite(v.scaleX) && std::isfinite(v.scaleY) && std::isfinite(v.rotation) &&
           std::isfinite(v.opacity);
}

// The keyframes of an envelope, noting what a timeline file cannot hold.
QJsonArray keyframes(const Transformation::Envelope& envelope, const QString& item,
                     QStringList* approximations) {
    if (envelope.defaultValue != Animation::ValueTypeTrait<Transformation::Object>::s_defaultValue)
        *approximations << item + QStringLiteral(
                                      ": its envelope's default value is the standard "
                                      "one in the rebuild");
    std::vector<Animation::KeyValue<Transformation::Object>> kept;
    for (const auto& k : envelope.keys) {
        if (finite(k))
            kept.push_back(k);
    }
    if (kept.size() != envelope.keys.size())
        *approximations << item + QStringLiteral(
                                      ": keyframes with numbers that are not finite "
                                      "are left out");
    const auto byStep = [](const auto& a, const auto& b) { return a.step < b.step; };
    if (!std::is_sorted(kept.begin(), kept.end(), byStep)) {
        *approximations << item + QStringLiteral(
                                      ": its keyframes are not in order of step; "
                                      "they are sorted in the rebuild");
        std::stable_sort(kept.begin(), kept.end(), byStep);
    }
    QJsonArray keys;
    for (const auto& k : kept)
        keys.append(key(k));
    return keys;
}

// The picture-in-picture matrix, in the unit square, that places a video of the scene's size
// with `transform` in the reference scene: a video placement scales, rotates and moves, so a
// transform of that form has an exact inverse.
QJsonArray placement(const Types::Transform& transform, const QString& item,
                     QStringList* approximations) {
    const QTransform t = transform.toQTransform();
    const bool affine = t.m13() == 0 && t.m23() == 0 && t.m33() == 1;
    const bool orthogonal = same(t.m11() * t.m21() + t.m12() * t.m22(), 0);
    if (!affine || !orthogonal || t.determinant() <= 0)
        *approximations << item + QStringLiteral(
                                      ": its transform skews, mirrors or projects, "
                                      "which a placement does not rebuild");
    const QTransform toScene = QTransform::fromScale(kSceneWidth, kSceneHeight);
    const QTransform unit = toScene * t * toScene.inverted();
    return matrix(Types::Transform::fromQTransform(unit), item, approximations);
}

}  // namespace

PresetTimeline PresetTimeline::read(
    const Overlay::Preset& preset, const Package::CollectionAddOn& addOn,
    const std::function<QString(const Package::Resource&)>& mediaFile) {
    PresetTimeline result;
    const int type = preset.kind - 1;
    if (type < 0 || type >= kOverlayTypes.size()) {
        result.approximations
            << QStringLiteral(
                   "the preset's kind %1 is none of title, callout or sticker; it is "
                   "rebuilt as a title")
                   .arg(preset.kind);
    }
    result.overlayType = kOverlayTypes.value(type, kOverlayTypes.front());

    const double duration = double(preset.duration);
    QJsonArray clips;
    QJsonArray tracks;
    std::optional<qint64> firstSpan;
    std::optional<qint64> secondSpan;
    std::vector<::Resource::Timing> timings;
    bool overlaySeen = false;
    qint64 lastVideo = 0;
    qint64 lastOverlay = 0;
    qint64 end = 0;
    for (size_t i = 0; i < preset.items.size(); ++i) {
        const Overlay::Item& item = preset.items[i];
        const QString name = QStringLiteral("items[%1]").arg(i);
        const bool placed =
            std::isfinite(item.begin * duration) && std::isfinite(item.end * duration) &&
            std::fabs(item.begin * duration) < 1e15 && std::fabs(item.end * duration) < 1e15;
        const qint64 position = placed ? std::llround(item.begin * duration) : 0;
        const qint64 length = placed ? std::llround(item.end * duration) - position : 0;
        if (!placed || !same(double(position) / duration, item.begin) ||
            !same(double(position + length) / duration, item.end) || length < 0) {
            result.approximations
                << name + QStringLiteral(
                              ": its begin and end are not whole milliseconds of the "
                              "preset's duration; they are rounded");
        }
        QJsonObject clip{{QStringLiteral("track"), int(tracks.size())},
                         {QStringLiteral("position"), std::max<qint64>(position, 0)},
                         {QStringLiteral("length"), std::max<qint64>(length, 0)}};

        // A video item names its media as "{id}:1"; its still is made again from the media.
        std::tuple<QString, ::Resource::Type> reference;
        const Package::Resource* video = nullptr;
        if (item.kind == Overlay::Item::Video &&
            ::Resource::parseResource(item.resource, &reference)) {
            for (const Package::Resource& resource : addOn.resources) {
                if (resource.key == reference && resource.type() == ::Resource::MediaFile) {
                    video = &resource;
                    break;
                }
            }
        }
        if (video) {
            const QString source = mediaFile(*video);
            if (source.isEmpty()) {
                result.dropped << name + QStringLiteral(": its video %1 is not in the package")
                                             .arg(video->path);
                continue;
            }
            if (overlaySeen || position < lastVideo)
                result.approximations
                    << name + QStringLiteral(
                                  ": a video item after other items, or before an "
                                  "earlier one, moves to the order of its place");
            lastVideo = position;
            if (!item.name.isEmpty() || !item.content.isEmpty() || item.firstFraction != 0 ||
                item.secondFraction != 0)
                result.approximations << name + QStringLiteral(
                                                    ": a video item's name, text and fades are not "
                                                    "rebuilt");
            timings.push_back(video->timing);
            clip[QStringLiteral("contentKind")] = QStringLiteral("video");
            clip[QStringLiteral("media")] = QJsonObject{
                {QStringLiteral("source"), source},
                {QStringLiteral("streams"),
                 QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("video")},
                                        {QStringLiteral("width"), kSceneWidth},
                                        {QStringLiteral("height"), kSceneHeight}}}}};
            if (item.transform.values() != Types::Transform().values())
                clip[QStringLiteral("effects")] = QJsonArray{
                    QJsonObject{{QStringLiteral("type"), QStringLiteral("picture-in-picture")},
                                {QStringLiteral("matrix"),
                                 placement(item.transform, name, &result.approximations)}}};
            const QJsonArray keys = keyframes(item.envelope, name, &result.approximations);
            if (!keys.isEmpty())
                clip[QStringLiteral("keyframes")] = keys;
        } else {
            const QString kind = itemKindName(item.kind);
            if (kind.isEmpty()) {
                result.dropped << name + QStringLiteral(": an item of kind %1 cannot be carried")
                                             .arg(item.kind);
                continue;
            }
            if (overlaySeen && position < lastOverlay)
                result.approximations
                    << name + QStringLiteral(
                                  ": an item before an earlier one moves to the order "
                                  "of its place");
            overlaySeen = true;
            lastOverlay = position;
            if (!item.name.isEmpty())
                result.approximations
                    << name + QStringLiteral(": a finished item's name is cleared again");
            // The fades are the spans over the clip's length, the same spans for every item.
            const qint64 first = std::llround(item.firstFraction * double(length));
            const qint64 second = std::llround(item.secondFraction * double(length));
            if (!firstSpan && length > 0 && std::isfinite(item.firstFraction) &&
                std::isfinite(item.secondFraction)) {
                firstSpan = first;
                secondSpan = second;
            }
            const double len = double(length);
            if (!firstSpan || !same(double(*firstSpan) / len, item.firstFraction) ||
                !same(double(*secondSpan) / len, item.secondFraction))
                result.approximations
                    << name + QStringLiteral(
                                  ": its fades are not the spans that the other items "
                                  "share");
            QJsonObject overlayItem{
                {QStringLiteral("kind"), kind},
                {QStringLiteral("content"), item.content},
                {QStringLiteral("matrix"), matrix(item.transform, name, &result.approximations)}};
            if (!item.resource.isEmpty())
                overlayItem[QStringLiteral("resource")] = item.resource;
            const QJsonArray keys = keyframes(item.envelope, name, &result.approximations);
            if (!keys.isEmpty())
                overlayItem[QStringLiteral("keyframes")] = keys;
            clip[QStringLiteral("contentKind")] = QStringLiteral("overlay");
            clip[QStringLiteral("contentLength")] = std::max<qint64>(length, 0);
            clip[QStringLiteral("overlay")] =
                QJsonObject{{QStringLiteral("kind"), result.overlayType},
                            {QStringLiteral("duration"), std::max<qint64>(length, 0)},
                            {QStringLiteral("items"), QJsonArray{overlayItem}}};
        }
        end = std::max(end, position + length);
        tracks.append(name);
        clips.append(clip);
    }
    // The preset lasts as long as its timeline: a clip that shows nothing keeps that length.
    if (end < preset.duration) {
        tracks.append(QStringLiteral("length"));
        clips.append(QJsonObject{{QStringLiteral("track"), int(tracks.size() - 1)},
                                 {QStringLiteral("contentKind"), QStringLiteral("image")},
                                 {QStringLiteral("position"), 0},
                                 {QStringLiteral("length"), preset.duration}});
    } else if (end > preset.duration) {
        result.approximations << QStringLiteral(
            "the items end after the preset's duration; it "
            "is rebuilt as long as they are");
    }
    result.firstItemSpan = firstSpan.value_or(0);
    result.secondItemSpan = secondSpan.value_or(0);
    if (!timings.empty() &&
        std::all_of(timings.begin(), timings.end(), [&](const auto& t) { return t == timings[0]; }))
        result.videoTiming = timings.front();
    result.timeline = QJsonObject{
        {QStringLiteral("scene"), QJsonObject{{QStringLiteral("width"), kSceneWidth},
                                              {QStringLiteral("height"), kSceneHeight}}},
        {QStringLiteral("tracks"), tracks},
        {QStringLiteral("clips"), clips}};
    return result;
}

}  // namespace Cli
