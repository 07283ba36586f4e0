#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>

#include "cli/timeline_file.h"
#include "platform/model/catalogue_ids.h"
#include "platform/model/video_effect.h"

namespace Cli {
namespace {

class Writer {
public:
    explicit Writer(QStringList* omitted) : m_omitted(omitted) {}

    QJsonObject timeline(const Timeline::Object& timeline) {
        QJsonObject root;
        const QSizeF scene = timeline.sceneSize();
        root[QStringLiteral("scene")] = QJsonObject{{QStringLiteral("width"), scene.width()},
                                                    {QStringLiteral("height"), scene.height()}};
        QJsonArray tracks;
        for (const Timeline::Track& track : timeline.tracks())
            tracks.append(track.name);
        root[QStringLiteral("tracks")] = tracks;
        if (timeline.primaryTrackIndex() >= 0)
            root[QStringLiteral("primaryTrack")] = timeline.primaryTrackIndex();
        QJsonArray clips;
        for (size_t i = 0; i < timeline.clips().size(); ++i)
            clips.append(clip(*timeline.clips()[i], QStringLiteral("clips[%1]").arg(i)));
        root[QStringLiteral("clips")] = clips;
        return root;
    }

private:
    QJsonObject clip(const Timeline::Clip& clip, const QString& place) {
        QJsonObject object;
        object[QStringLiteral("track")] = clip.track;
        const QString content = contentName(clip.timing.contentKind);
        if (content.isEmpty())
            omit(place + QStringLiteral(".contentKind"),
                 QStringLiteral("content kind %1").arg(clip.timing.contentKind));
        else
            object[QStringLiteral("contentKind")] = content;
        object[QStringLiteral("position")] = double(clip.timing.position);
        object[QStringLiteral("length")] = double(clip.timing.length);
        object[QStringLiteral("inPoint")] = double(clip.timing.inPoint);
        object[QStringLiteral("contentLength")] = double(clip.timing.contentLength);

        if (!clip.media.sourcePath.isEmpty()) {
            QJsonObject media{{QStringLiteral("source"), clip.media.sourcePath}};
            QJsonArray streams;
            for (const Timeline::StreamDescription& stream : clip.media.streams) {
                if (stream.type != Timeline::StreamDescription::Video &&
                    stream.type != Timeline::StreamDescription::Audio) {
                    omit(place + QStringLiteral(".media.streams"),
                         QStringLiteral("stream type %1").arg(stream.type));
                    continue;
                }
                streams.append(QJsonObject{
                    {QStringLiteral("type"), stream.type == Timeline::StreamDescription::Video
                                                 ? QStringLiteral("video")
                                                 : QStringLiteral("audio")},
                    {QStringLiteral("width"), stream.width},
                    {QStringLiteral("height"), stream.height}});
            }
            if (!streams.isEmpty())
                media[QStringLiteral("streams")] = streams;
            object[QStringLiteral("media")] = media;
        }

        QJsonArray effects;
        for (size_t i = 0; i < clip.effects().size(); ++i) {
            const Effect::Object& effect = *clip.effects()[i];
            const auto* pip = dynamic_cast<const Effect::PictureInPicture*>(&effect);
            if (pip) {
                QJsonObject placement{
                    {QStringLiteral("type"), QStringLiteral("picture-in-picture")}};
                addMatrix(placement, pip->transform, place + QStringLiteral(".effects[%1]").arg(i));
                effects.append(placement);
            } else if (effect.id == Effect::Id::SideBySide) {
                effects.append(
                    QJsonObject{{QStringLiteral("type"), QStringLiteral("side-by-side")}});
            } else {
                omit(place + QStringLiteral(".effects[%1]").arg(i),
                     QStringLiteral("effect '%1'").arg(effect.id));
            }
        }
        if (!effects.isEmpty())
            object[QStringLiteral("effects")] = effects;

        if (const Overlay::Preset* preset = clip.overlayPreset())
            object[QStringLiteral("overlay")] =
                overlay(*preset, place + QStringLiteral(".overlay"));
        if (const Transformation::Envelope* envelope = clip.envelope())
            object[QStringLiteral("keyframes")] =
                keyframes(*envelope, place + QStringLiteral(".keyframes"));
        return object;
    }

    QJsonObject overlay(const Overlay::Preset& preset, const QString& place) {
        static const QStringList kinds = {QString(), QStringLiteral("title"),
                                          QStringLiteral("callout"), QStringLiteral("sticker")};
        QJsonObject object;
        if (preset.kind >= 1 && preset.kind <= 3)
            object[QStringLiteral("kind")] = kinds[preset.kind];
        else
            omit(place + QStringLiteral(".kind"),
                 QStringLiteral("preset kind %1").arg(preset.kind));
        object[QStringLiteral("name")] = preset.name;
        object[QStringLiteral("duration")] = double(preset.duration);
        QJsonArray items;
        for (size_t i = 0; i < preset.items.size(); ++i)
            items.append(item(preset.items[i], place + QStringLiteral(".items[%1]").arg(i)));
        object[QStringLiteral("items")] = items;
        return object;
    }

    QJsonObject item(const Overlay::Item& item, const QString& place) {
        QJsonObject object;
        object[QStringLiteral("name")] = item.name;
        switch (item.kind) {
            case Overlay::Item::Text:
                object[QStringLiteral("kind")] = QStringLiteral("text");
                break;
            case Overlay::Item::Image:
                object[QStringLiteral("kind")] = QStringLiteral("image");
                break;
            case Overlay::Item::Shape:
                object[QStringLiteral("kind")] = QStringLiteral("shape");
                break;
            case Overlay::Item::Video:
                object[QStringLiteral("kind")] = QStringLiteral("video");
                break;
            default:
                omit(place + QStringLiteral(".kind"),
                     QStringLiteral("item kind %1").arg(item.kind));
        }
        object[QStringLiteral("content")] = item.content;
        object[QStringLiteral("resource")] = item.resource;
        number(object, QStringLiteral("begin"), item.begin, place);
        number(object, QStringLiteral("end"), item.end, place);
        number(object, QStringLiteral("firstFraction"), item.firstFraction, place);
        number(object, QStringLiteral("secondFraction"), item.secondFraction, place);
        addMatrix(object, item.transform, place);
        object[QStringLiteral("keyframes")] = keyframes(item.envelope, place + ".keyframes");
        return object;
    }

    QJsonArray keyframes(const Transformation::Envelope& envelope, const QString& place) {
        if (!(envelope.defaultValue == Transformation::Envelope().defaultValue))
            omit(place, QStringLiteral("the envelope's default value"));
        QJsonArray keys;
        for (size_t i = 0; i < envelope.keys.size(); ++i) {
            const auto& key = envelope.keys[i];
            const QString at = place + QStringLiteral("[%1]").arg(i);
            QJsonObject object;
            number(object, QStringLiteral("step"), key.step, at);
            number(object, QStringLiteral("x"), key.value.x, at);
            number(object, QStringLiteral("y"), key.value.y, at);
            number(object, QStringLiteral("scaleX"), key.value.scaleX, at);
            number(object, QStringLiteral("scaleY"), key.value.scaleY, at);
            number(object, QStringLiteral("rotation"), key.value.rotation, at);
            number(object, QStringLiteral("opacity"), key.value.opacity, at);
            if (object.contains(QStringLiteral("step")))
                keys.append(object);
        }
        return keys;
    }

    void addMatrix(QJsonObject& object, const Types::Transform& transform, const QString& place) {
        if (transform == Types::Transform())
            return;  // the identity is what a missing placement means
        QJsonArray matrix;
        for (double value : transform.values()) {
            if (!std::isfinite(value)) {
                omit(place + QStringLiteral(".matrix"),
                     QStringLiteral("a number that is not finite"));
                return;
            }
            matrix.append(value);
        }
        object[QStringLiteral("matrix")] = matrix;
    }

    // JSON has no infinities or NaN: such a value is left out (and the reader's default used).
    void number(QJsonObject& object, const QString& field, double value, const QString& place) {
        if (std::isfinite(value))
            object[field] = value;
        else
            omit(place + QLatin1Char('.') + field,
                 QStringLiteral("%1, not a finite number").arg(value));
    }

    static QString contentName(qint32 kind) {
        switch (kind) {
            case Timeline::VideoContent:
                return QStringLiteral("video");
            case Timeline::OverlayContent:
                return QStringLiteral("overlay");
            case Timeline::ImageContent:
                return QStringLiteral("image");
            case Timeline::AudioContent:
                return QStringLiteral("audio");
            default:
                return QString();
        }
    }

    void omit(const QString& place, const QString& what) {
        if (m_omitted)
            m_omitted->append(
                QStringLiteral("%1: %2 cannot be written; left out").arg(place, what));
    }

    QStringList* m_omitted;
};

}  // namespace

QByteArray TimelineFile::write(const Timeline::Object& timeline, QStringList* omitted) {
    return QJsonDocument(Writer(omitted).timeline(timeline)).toJson(QJsonDocument::Indented);
}

}  // namespace Cli
