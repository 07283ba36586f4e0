#pragma once

#include <QString>

#include "platform/pubsub/pubsub_object.h"
#include "platform/serialize/serializable.h"

namespace Import {

// A media item of the editor's collection: a file that travels in its package, or one that the
// editor downloads later from `remoteUrl()`. `location()` is where the editor finds the file:
// a package-relative resource path, or a "#DOWNLOADABLE_PATH#/..." text resolved at download time.
// A value type; reading one throws Serialize::Error for a malformed archive.
class Object : public virtual Serialize::ISerializable, public virtual PubSub::Object {
public:
    // The stored kinds. Other is also what an unknown kind falls back to; Intro marks an editor
    // project rather than a single media file.
    enum Kind : qint32 { Other = 0, Audio = 1, Image = 2, Video = 3, Intro = 4 };

    QString category() const { return m_category; }
    void setCategory(const QString& category) { m_category = category; }
    QString title() const { return m_title; }
    void setTitle(const QString& title) { m_title = title; }
    QString description() const { return m_description; }
    void setDescription(const QString& description) { m_description = description; }
    qint32 kind() const { return m_kind; }
    void setKind(qint32 kind) { m_kind = kind; }
    QString location() const { return m_location; }
    void setLocation(const QString& location) { m_location = location; }
    QString remoteUrl() const { return m_remoteUrl; }
    void setRemoteUrl(const QString& remoteUrl) { m_remoteUrl = remoteUrl; }

    static std::string staticTypeName() { return "Import::Object"; }
    std::string typeName() const override { return staticTypeName(); }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;

private:
    QString m_category;
    QString m_title;
    QString m_description;
    qint32 m_kind = Other;
    QString m_location;
    QString m_remoteUrl;
};

}  // namespace Import
