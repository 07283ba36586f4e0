#pragma once

#include <QString>
#include <memory>
#include <vector>

#include "platform/model/animation.h"
#include "platform/model/effect_object.h"
#include "platform/model/overlay_preset.h"
#include "platform/serialize/serializable.h"

namespace Timeline {

// What a clip shows. A video clip is kind 32.
enum ContentKind : qint32 {
    NoContent = 0,
    OverlayContent = 1,
    ImageContent = 8,
    AudioContent = 16,
    VideoContent = 32,
};

// Where a clip plays, in milliseconds: its position on the timeline, the length of its whole
// content (the span over which its keyframe steps run from 0 to 1), its in-point within that
// content and its visible length; and what kind of content it shows.
struct ClipTiming {
    qint64 position = 0;
    qint64 contentLength = 0;
    qint64 inPoint = 0;
    qint64 length = 0;
    qint32 contentKind = NoContent;

    friend bool operator==(const ClipTiming& a, const ClipTiming& b) {
        return a.position == b.position && a.contentLength == b.contentLength &&
               a.inPoint == b.inPoint && a.length == b.length && a.contentKind == b.contentKind;
    }
};

// One stream of a media file. Type 1 is video, 2 audio; sizes are in pixels.
struct StreamDescription {
    enum Type : qint32 { Unknown = 0, Video = 1, Audio = 2 };

    qint32 type = Unknown;
    qint32 width = 0;
    qint32 height = 0;

    friend bool operator==(const StreamDescription& a, const StreamDescription& b) {
        return a.type == b.type && a.width == b.width && a.height == b.height;
    }
};

// The media file behind a clip: its path and its streams, the first video stream first.
struct Media {
    QString sourcePath;
    std::vector<StreamDescription> streams;

    friend bool operator==(const Media& a, const Media& b) {
        return a.sourcePath == b.sourcePath && a.streams == b.streams;
    }
};

// One clip of a timeline: on which track and where it plays, its media, the effects applied to
// it, the overlay it shows (titles, stickers, callouts) and its transformation envelope. The clip
// owns its effects, preset and envelope; copies are deep. Reading one throws Serialize::Error for
// a malformed archive.
class Clip : public Serialize::ISerializable {
public:
    Clip() = default;
    Clip(const Clip& other);
    Clip& operator=(const Clip& other);
    Clip(Clip&&) = default;
    Clip& operator=(Clip&&) = default;

    qint32 track = 0;  // index into the timeline's tracks
    ClipTiming timing;
    Media media;

    qint64 length() const { return timing.length; }

    const std::vector<std::unique_ptr<Effect::Object>>& effects() const { return m_effects; }
    void addEffect(std::unique_ptr<Effect::Object> effect);

    // Null when the clip shows no overlay.
    const Overlay::Preset* overlayPreset() const { return m_preset.get(); }
    void setOverlayPreset(const Overlay::Preset& preset);

    // Null when the clip is not animated.
    const Transformation::Envelope* envelope() const { return m_envelope.get(); }
    void setEnvelope(const Transformation::Envelope& envelope);

    static std::string staticTypeName() { return "Timeline::Clip"; }
    std::string typeName() const override { return staticTypeName(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<Clip>(*this);
    }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;

private:
    std::vector<std::unique_ptr<Effect::Object>> m_effects;
    std::unique_ptr<Overlay::Preset> m_preset;
    std::unique_ptr<Transformation::Envelope> m_envelope;
};

}  // namespace Timeline
