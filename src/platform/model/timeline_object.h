#pragma once

#include <QSizeF>
#include <QString>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "platform/model/timeline_clip.h"
#include "platform/pubsub/pubsub_object.h"
#include "platform/serialize/serializable.h"

namespace Timeline {

// One track of a timeline. Clips refer to their track by its index.
struct Track {
    QString name;
};

// Orders clips by position on the timeline, then by track. Clips at the same position on the
// same track are equivalent (neither comes before the other). A strict weak order.
struct ClipOrder {
    bool operator()(const Clip* a, const Clip* b) const {
        if (a->timing.position != b->timing.position)
            return a->timing.position < b->timing.position;
        return a->track < b->track;
    }
};

// An editor timeline: tracks, one of which may be the primary (main video) track, and clips in
// the order in which they were added. The timeline owns its clips; copies are deep.
class Object : public virtual Serialize::ISerializable, public virtual PubSub::Object {
public:
    // The scene size of a timeline that sets none.
    static QSizeF defaultSceneSize() { return QSizeF(1920, 1080); }

    Object() = default;
    Object(const Object& other);
    Object& operator=(const Object& other);
    Object(Object&& other) noexcept;
    Object& operator=(Object&& other) noexcept;

    // Adds a track and returns its index.
    int addTrack(const QString& name);
    const std::deque<Track>& tracks() const { return m_tracks; }
    // The track of an index, or null.
    const Track* track(int index) const;
    int trackIndex(const Track* track) const;  // -1 when it is not one of this timeline's

    // The primary track, or null when the timeline has none.
    const Track* primaryTrack() const { return track(m_primaryTrack); }
    int primaryTrackIndex() const { return m_primaryTrack; }
    // Makes the track of `index` primary; -1 for none. Throws std::out_of_range for a bad index.
    void setPrimaryTrack(int index);

    // Adds a copy of the clip and returns it. Throws std::out_of_range when its track does not
    // exist.
    const Clip* addClip(const Clip& clip);
    // The clips in the order in which they were added.
    const std::vector<std::unique_ptr<Clip>>& clips() const { return m_clips; }
    const ClipTiming& clipTiming(const Clip* clip) const { return clip->timing; }
    // Removes every clip of the track (a null track removes nothing).
    void clearTrack(const Track* track);
    // Replaces the media path of every clip that has one by map(path).
    void mapMediaPaths(const std::function<QString(const QString&)>& map);

    // The end of the last clip, in milliseconds (0 for an empty timeline).
    qint64 duration() const;

    // The timeline's scene size, defaultSceneSize() when none is set.
    QSizeF sceneSize() const { return m_sceneSize.isEmpty() ? defaultSceneSize() : m_sceneSize; }
    void setSceneSize(const QSizeF& size) { m_sceneSize = size; }

    static std::string staticTypeName() { return "Timeline::Object"; }
    std::string typeName() const override { return staticTypeName(); }
    std::unique_ptr<Serialize::ISerializable> deepCopy() const override {
        return std::make_unique<Object>(*this);
    }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;

private:
    std::deque<Track> m_tracks;  // a deque, so that track pointers stay valid as tracks are added
    int m_primaryTrack = -1;
    std::vector<std::unique_ptr<Clip>> m_clips;
    QSizeF m_sceneSize{0, 0};
};

}  // namespace Timeline
