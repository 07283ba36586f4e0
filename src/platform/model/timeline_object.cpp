#include "platform/model/timeline_object.h"

#include <algorithm>
#include <stdexcept>

#include "platform/serialize/collections.h"
#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"
#include "platform/serialize/type_registry.h"

namespace Timeline {

static const Serialize::RegisterType<Object> registerObject("Timeline::Object");

Object::Object(const Object& other)
    : Serialize::ISerializable(other),
      PubSub::Object(other),
      m_tracks(other.m_tracks),
      m_primaryTrack(other.m_primaryTrack),
      m_sceneSize(other.m_sceneSize) {
    m_clips.reserve(other.m_clips.size());
    for (const auto& clip : other.m_clips)
        m_clips.push_back(std::make_unique<Clip>(*clip));
}

Object& Object::operator=(const Object& other) {
    if (this != &other) {
        Object copy(other);
        *this = std::move(copy);
    }
    return *this;
}

Object::Object(Object&& other) noexcept
    : m_tracks(std::move(other.m_tracks)),
      m_primaryTrack(other.m_primaryTrack),
      m_clips(std::move(other.m_clips)),
      m_sceneSize(other.m_sceneSize) {
    other.m_primaryTrack = -1;
}

Object& Object::operator=(Object&& other) noexcept {
    m_tracks = std::move(other.m_tracks);
    m_primaryTrack = other.m_primaryTrack;
    m_clips = std::move(other.m_clips);
    m_sceneSize = other.m_sceneSize;
    other.m_primaryTrack = -1;
    return *this;
}

int Object::addTrack(const QString& name) {
    m_tracks.push_back({name});
    return int(m_tracks.size()) - 1;
}

const Track* Object::track(int index) const {
    if (index < 0 || size_t(index) >= m_tracks.size())
        return nullptr;
    return &m_tracks[size_t(index)];
}

int Object::trackIndex(const Track* track) const {
    for (size_t i = 0; i < m_tracks.size(); ++i) {
        if (&m_tracks[i] == track)
            return int(i);
    }
    return -1;
}

void Object::setPrimaryTrack(int index) {
    if (index != -1 && !track(index))
        throw std::out_of_range("Timeline::Object: no track " + std::to_string(index));
    m_primaryTrack = index;
}

const Clip* Object::addClip(const Clip& clip) {
    if (!track(clip.track))
        throw std::out_of_range("Timeline::Object: a clip on track " + std::to_string(clip.track) +
                                ", which does not exist");
    m_clips.push_back(std::make_unique<Clip>(clip));
    return m_clips.back().get();
}

void Object::clearTrack(const Track* track) {
    const int index = trackIndex(track);
    if (index < 0)
        return;
    m_clips.erase(
        std::remove_if(m_clips.begin(), m_clips.end(),
                       [index](const std::unique_ptr<Clip>& clip) { return clip->track == index; }),
        m_clips.end());
}

void Object::mapMediaPaths(const std::function<QString(const QString&)>& map) {
    for (const auto& clip : m_clips) {
        if (!clip->media.sourcePath.isEmpty())
            clip->media.sourcePath = map(clip->media.sourcePath);
    }
}

qint64 Object::duration() const {
    qint64 end = 0;
    for (const auto& clip : m_clips)
        end = std::max(end, clip->timing.position + clip->timing.length);
    return end;
}

void Object::Serialize(Serialize::ISerializer& s) const {
    s.write("sceneWidth", m_sceneSize.width());
    s.write("sceneHeight", m_sceneSize.height());
    s.key("tracks");
    s.beginArray(qint64(m_tracks.size()));
    for (const Track& track : m_tracks) {
        s.beginElement();
        s.write("name", track.name);
        s.endElement();
    }
    s.endArray();
    s.write("primaryTrack", qint32(m_primaryTrack));
    s.key("clips");
    s.beginArray(qint64(m_clips.size()));
    for (const auto& clip : m_clips) {
        s.beginElement();
        s.write("Data", clip.get());
        s.endElement();
    }
    s.endArray();
}

void Object::Deserialize(Serialize::IDeserializer& d) {
    double width = 0;
    double height = 0;
    d.read("sceneWidth", width);
    d.read("sceneHeight", height);
    m_sceneSize = QSizeF(width, height);
    m_tracks.clear();
    d.key("tracks");
    const qint64 tracks = d.beginArray();
    for (qint64 i = 0; i < tracks; ++i) {
        d.beginElement();
        Track track;
        d.read("name", track.name);
        m_tracks.push_back(track);
        d.endElement();
    }
    d.endArray();
    qint32 primary = -1;
    d.read("primaryTrack", primary);
    if (primary != -1 && !track(primary))
        d.fail(QStringLiteral("primary track %1 does not exist (%2 tracks)")
                   .arg(primary)
                   .arg(m_tracks.size()));
    m_primaryTrack = primary;
    m_clips.clear();
    d.key("clips");
    const qint64 clips = d.beginArray();
    for (qint64 i = 0; i < clips; ++i) {
        d.beginElement();
        d.key("Data");
        auto clip = std::make_unique<Clip>();
        d.readObjectInto(*clip);
        if (!track(clip->track))
            d.fail(QStringLiteral("clip %1 lies on track %2, which does not exist")
                       .arg(i + 1)
                       .arg(clip->track));
        m_clips.push_back(std::move(clip));
        d.endElement();
    }
    d.endArray();
}

}  // namespace Timeline
