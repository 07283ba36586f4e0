#include "cli/timeline_file.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <functional>
#include <limits>

#include "cli/cli_error.h"
#include "cli/json_fields.h"
#include "cli/old_spellings.h"
#include "platform/model/video_effect.h"

namespace Cli {
namespace {

constexpr qint64 kMaxTime = std::numeric_limits<qint64>::max() / 4;  // sums must not overflow
constexpr qint64 kMaxPixels = 1 << 16;

const QStringList contentKinds = {QStringLiteral("video"), QStringLiteral("overlay"),
                                  QStringLiteral("image"), QStringLiteral("audio")};
const qint32 contentKindValues[] = {Timeline::VideoContent, Timeline::OverlayContent,
                                    Timeline::ImageContent, Timeline::AudioContent};
const QStringList overlayKinds = {QStringLiteral("title"), QStringLiteral("callout"),
                                  QStringLiteral("sticker")};
const QStringList itemKinds = {QStringLiteral("text"), QStringLiteral("image"),
                               QStringLiteral("shape"), QStringLiteral("video")};
const qint32 itemKindValues[] = {Overlay::Item::Text, Overlay::Item::Image, Overlay::Item::Shape,
                                 Overlay::Item::Video};
const QStringList effectTypes = {QStringLiteral("picture-in-picture"),
                                 QStringLiteral("side-by-side")};
const QStringList streamTypes = {QStringLiteral("video"), QStringLiteral("audio")};

QString element(const QString& list, int index) {
    return QStringLiteral("%1[%2]").arg(list).arg(index);
}

// Renames the old spellings of one object, which stands at `place` ("intro.json: clips[3]").
using Respell = std::function<void(QJsonObject& object, const QString& place)>;

// The objects of a list, each with the fields reader of its place.
template <class Read>
void forEachObject(JsonFields& parent, const QString& field, bool required, Read read,
                   const Respell& respell = nullptr) {
    const QJsonArray list = parent.array(field, required);
    for (int i = 0; i < list.size(); ++i) {
        const QString place = parent.where(element(field, i));
        if (!list.at(i).isObject())
            throw Error(QStringLiteral("%1: expected an object, found %2")
                            .arg(place, jsonTypeName(list.at(i))));
        QJsonObject object = list.at(i).toObject();
        if (respell)
            respell(object, place);
        JsonFields fields(object, place);
        read(fields, i);
        fields.finish();
    }
}

class Reader {
public:
    Reader(const QString& path, const QByteArray& json)
        : m_path(path), m_json(json), m_folder(QFileInfo(path).absolutePath()) {}

    Timeline::Object read(JsonFields& root) {
        Timeline::Object timeline;
        if (root.has(QStringLiteral("scene"))) {
            JsonFields scene(root.object(QStringLiteral("scene")),
                             root.where(QStringLiteral("scene")));
            const qint64 width = scene.requiredInteger(QStringLiteral("width"), 1, kMaxPixels);
            const qint64 height = scene.requiredInteger(QStringLiteral("height"), 1, kMaxPixels);
            scene.finish();
            timeline.setSceneSize(QSizeF(width, height));
        }
        const QJsonArray tracks = root.array(QStringLiteral("tracks"), true);
        for (int i = 0; i < tracks.size(); ++i) {
            if (!tracks.at(i).isString())
                root.fail(element(QStringLiteral("tracks"), i),
                          QStringLiteral("expected a track name, found %1")
                              .arg(jsonTypeName(tracks.at(i))));
            timeline.addTrack(tracks.at(i).toString());
        }
        if (root.has(QStringLiteral("primaryTrack")))
            timeline.setPrimaryTrack(int(
                root.integer(QStringLiteral("primaryTrack"), -1, 0, qint64(tracks.size()) - 1)));
        forEachObject(
            root, QStringLiteral("clips"), true,
            [&](JsonFields& fields, int) { timeline.addClip(clip(fields, tracks.size())); },
            respell(QStringLiteral("clips[]")));
        root.finish();
        return timeline;
    }

private:
    Timeline::Clip clip(JsonFields& fields, int trackCount) {
        Timeline::Clip clip;
        if (trackCount == 0)
            fields.fail(QStringLiteral("track"), QStringLiteral("the timeline has no tracks"));
        clip.track = qint32(fields.requiredInteger(QStringLiteral("track"), 0, trackCount - 1));
        clip.timing.contentKind =
            contentKindValues[fields.choice(QStringLiteral("contentKind"), contentKinds, 0)];
        clip.timing.position = fields.requiredInteger(QStringLiteral("position"), 0, kMaxTime);
        clip.timing.length = fields.requiredInteger(QStringLiteral("length"), 0, kMaxTime);
        clip.timing.inPoint = fields.integer(QStringLiteral("inPoint"), 0, 0, kMaxTime);
        clip.timing.contentLength = fields.integer(
            QStringLiteral("contentLength"), clip.timing.inPoint + clip.timing.length, 0, kMaxTime);

        if (fields.has(QStringLiteral("media"))) {
            JsonFields media(fields.object(QStringLiteral("media")),
                             fields.where(QStringLiteral("media")));
            clip.media.sourcePath = resolve(media.text(QStringLiteral("source"), true));
            forEachObject(media, QStringLiteral("streams"), false, [&](JsonFields& stream, int) {
                Timeline::StreamDescription description;
                description.type = stream.choice(QStringLiteral("type"), streamTypes, 0) + 1;
                description.width =
                    qint32(stream.integer(QStringLiteral("width"), 0, 0, kMaxPixels));
                description.height =
                    qint32(stream.integer(QStringLiteral("height"), 0, 0, kMaxPixels));
                clip.media.streams.push_back(description);
            });
            media.finish();
        }
        forEachObject(fields, QStringLiteral("effects"), false,
                      [&](JsonFields& effect, int) { clip.addEffect(this->effect(effect)); });
        if (fields.has(QStringLiteral("overlay"))) {
            JsonFields overlay(fields.object(QStringLiteral("overlay")),
                               fields.where(QStringLiteral("overlay")));
            clip.setOverlayPreset(preset(overlay));
            overlay.finish();
        }
        if (fields.has(QStringLiteral("keyframes")))
            clip.setEnvelope(envelope(fields, QStringLiteral("keyframes")));
        return clip;
    }

    std::unique_ptr<Effect::Object> effect(JsonFields& fields) {
        const int type = fields.choice(QStringLiteral("type"), effectTypes, -1);
        if (type < 0)
            fields.fail(QStringLiteral("type"),
                        QStringLiteral("missing (one of %1)").arg(effectTypes.join(", ")));
        if (type == 1)
            return std::make_unique<Effect::VideoEffect>(Effect::Id::SideBySide,
                                                         Effect::Group::GroupPip);
        auto pip = std::make_unique<Effect::PictureInPicture>();
        pip->transform = transform(fields);
        return pip;
    }

    // A placement in the unit square: "rect" {x, y, width, height} or a "matrix" of nine numbers
    // (row by row); the identity when neither is given.
    Types::Transform transform(JsonFields& fields) {
        if (fields.has(QStringLiteral("rect")) && fields.has(QStringLiteral("matrix")))
            fields.fail(QStringLiteral("matrix"), QStringLiteral("give either rect or matrix"));
        if (fields.has(QStringLiteral("rect"))) {
            JsonFields rect(fields.object(QStringLiteral("rect")),
                            fields.where(QStringLiteral("rect")));
            const double x = rect.requiredNumber(QStringLiteral("x"));
            const double y = rect.requiredNumber(QStringLiteral("y"));
            const double width = rect.requiredNumber(QStringLiteral("width"));
            const double height = rect.requiredNumber(QStringLiteral("height"));
            rect.finish();
            return Types::Transform(width, 0, 0, 0, height, 0, x, y, 1);
        }
        if (fields.has(QStringLiteral("matrix"))) {
            const QJsonArray m = fields.array(QStringLiteral("matrix"));
            double v[9];
            for (int i = 0; i < 9; ++i) {
                if (m.size() != 9 || !m.at(i).isDouble())
                    fields.fail(QStringLiteral("matrix"), QStringLiteral("expected 9 numbers"));
                v[i] = m.at(i).toDouble();
            }
            return Types::Transform(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8]);
        }
        return Types::Transform();
    }

    Overlay::Preset preset(JsonFields& fields) {
        Overlay::Preset preset;
        preset.kind = fields.choice(QStringLiteral("kind"), overlayKinds, 0) + 1;
        preset.name = fields.text(QStringLiteral("name"));
        preset.duration = fields.integer(QStringLiteral("duration"), 0, 0, kMaxTime);
        forEachObject(
            fields, QStringLiteral("items"), true,
            [&](JsonFields& item, int) { preset.appendItem(this->item(item)); },
            respell(QStringLiteral("clips[].overlay.items[]")));
        return preset;
    }

    Overlay::Item item(JsonFields& fields) {
        Overlay::Item item;
        item.name = fields.text(QStringLiteral("name"));
        item.kind = itemKindValues[fields.choice(QStringLiteral("kind"), itemKinds, 0)];
        item.content = fields.text(QStringLiteral("content"));
        item.resource = fields.text(QStringLiteral("resource"));
        item.begin = fields.number(QStringLiteral("begin"), 0.0);
        item.end = fields.number(QStringLiteral("end"), 1.0);
        item.firstFraction = fields.number(QStringLiteral("firstFraction"), 0.0);
        item.secondFraction = fields.number(QStringLiteral("secondFraction"), 0.0);
        item.transform = transform(fields);
        if (fields.has(QStringLiteral("keyframes")))
            item.envelope = envelope(fields, QStringLiteral("keyframes"));
        return item;
    }

    Transformation::Envelope envelope(JsonFields& fields, const QString& field) {
        Transformation::Envelope envelope;
        const QJsonArray keys = fields.array(field);
        for (int i = 0; i < keys.size(); ++i) {
            const QJsonValue entry = keys.at(i);
            double step = 0;
            Transformation::Object value;
            // Keys are most of a large timeline: a key of known numbers in order is taken as it
            // is; anything else is read field by field, for the message that names its place.
            if (entry.isObject() && plainKey(entry.toObject(), &step, &value) &&
                (envelope.keys.empty() || step >= envelope.keys.back().step)) {
                envelope.keys.emplace_back(step, value);
                continue;
            }
            const QString place = fields.where(element(field, i));
            if (!entry.isObject())
                throw Error(QStringLiteral("%1: expected an object, found %2")
                                .arg(place, jsonTypeName(entry)));
            value = Transformation::Object();
            JsonFields key(entry.toObject(), place);
            step = key.requiredNumber(QStringLiteral("step"));
            // Envelopes look keys up by step, so they must come in order.
            if (!envelope.keys.empty() && step < envelope.keys.back().step)
                key.fail(QStringLiteral("step"),
                         QStringLiteral("%1 comes after step %2: keyframes must be in order")
                             .arg(step)
                             .arg(envelope.keys.back().step));
            value.x = key.number(QStringLiteral("x"), value.x);
            value.y = key.number(QStringLiteral("y"), value.y);
            value.scaleX = key.number(QStringLiteral("scaleX"), value.scaleX);
            value.scaleY = key.number(QStringLiteral("scaleY"), value.scaleY);
            value.rotation = key.number(QStringLiteral("rotation"), value.rotation);
            value.opacity = key.number(QStringLiteral("opacity"), value.opacity);
            envelope.keys.emplace_back(step, value);
            key.finish();
        }
        return envelope;
    }

    // Reads a key whose fields are all known and all numbers, with a step; false otherwise.
    static bool plainKey(const QJsonObject& key, double* step, Transformation::Object* value) {
        bool haveStep = false;
        for (auto it = key.constBegin(); it != key.constEnd(); ++it) {
            const QJsonValue number = it.value();
            if (!number.isDouble())
                return false;
            const QString name = it.key();
            double* target = nullptr;
            if (name == QLatin1String("step")) {
                target = step;
                haveStep = true;
            } else if (name == QLatin1String("x")) {
                target = &value->x;
            } else if (name == QLatin1String("y")) {
                target = &value->y;
            } else if (name == QLatin1String("scaleX")) {
                target = &value->scaleX;
            } else if (name == QLatin1String("scaleY")) {
                target = &value->scaleY;
            } else if (name == QLatin1String("rotation")) {
                target = &value->rotation;
            } else if (name == QLatin1String("opacity")) {
                target = &value->opacity;
            } else {
                return false;
            }
            *target = number.toDouble();
        }
        return haveStep;
    }

    // Old spellings are renamed object by object: rebuilding a list of a million clips in a
    // document would take time quadratic in its length.
    Respell respell(const QString& objects) const {
        return [this, objects](QJsonObject& object, const QString& place) {
            // The place as messages name it, without the file: "clips[3]".
            const QString path = place.mid(m_path.size() + 2);
            OldSpellings::timeline().renameIn(object, objects, path, m_json, m_path);
        };
    }

    QString resolve(const QString& path) const {
        if (path.isEmpty() || QDir::isAbsolutePath(path))
            return path;
        return QDir::cleanPath(m_folder + QLatin1Char('/') + path);
    }

    QString m_path;
    const QByteArray& m_json;
    QString m_folder;
};

}  // namespace

Timeline::Object TimelineFile::load(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Error(
            QStringLiteral("%1: cannot read the timeline: %2").arg(path, file.errorString()));
    return parse(file.readAll(), path);
}

Timeline::Object TimelineFile::parse(const QByteArray& json, const QString& path) {
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        throw Error(QStringLiteral("%1: not valid JSON at offset %2: %3")
                        .arg(path)
                        .arg(parseError.offset)
                        .arg(parseError.errorString()));
    if (!document.isObject())
        throw Error(QStringLiteral("%1: a timeline must be a JSON object").arg(path));
    JsonFields root(document.object(), path + QLatin1Char(':'));
    return Reader(path, json).read(root);
}

}  // namespace Cli
