#pragma once

#include <QString>
#include <vector>

#include "platform/model/catalogue_ids.h"
#include "platform/pubsub/pubsub_object.h"
#include "platform/serialize/serializable.h"

namespace Transition {

// A file that a transition uses: the kind of package resource (Resource::Type) and its id.
struct ResourceReference {
    qint32 kind = 0;
    QString id;

    friend bool operator==(const ResourceReference& a, const ResourceReference& b) {
        return a.kind == b.kind && a.id == b.id;
    }
};

// A transition of the editor: its two leading texts, its catalogue id, how a template transition
// uses its media (`maskMode` for masks, `overlayMode` for overlay clips; 0 when unused) and the
// resources it refers to. A value type; reading one throws Serialize::Error for a malformed
// archive.
class Object : public virtual Serialize::ISerializable, public virtual PubSub::Object {
public:
    Object() = default;
    explicit Object(const QString& id) : id(id) {}

    QString title;
    QString description;
    QString id;
    qint32 maskMode = 0;
    qint32 overlayMode = 0;
    std::vector<ResourceReference> resources;

    static std::string staticTypeName() { return "Transition::Object"; }
    std::string typeName() const override { return staticTypeName(); }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;
};

}  // namespace Transition
