#pragma once

#include <QString>
#include <tuple>

#include "platform/serialize/serializable.h"

namespace Resource {

// The kind of a package resource.
enum Type : qint32 {
    Unknown = 0,
    MediaFile = 1,   // template-transition media, extra video
    StillImage = 3,  // still or auxiliary image
    DataFile = 4,    // LUT, shader, intermediate-overlay placeholder, intro bundle
};

// Where a resource plays: start and length in milliseconds, and the frame rate in frames per second
// times 1000 (0 when unknown).
struct Timing {
    qint64 start = 0;
    qint64 length = 0;
    qint32 frameRate = 0;

    friend bool operator==(const Timing& a, const Timing& b) {
        return a.start == b.start && a.length == b.length && a.frameRate == b.frameRate;
    }
};

// The text by which items refer to a resource: "{id}:type", e.g. "{0f8e...}:1".
QString serializeResource(const std::tuple<QString, Type>& key);
// The reverse; false when the text is not such a reference.
bool parseResource(const QString& text, std::tuple<QString, Type>* key);

}  // namespace Resource

namespace Package {

// One resource file of a package: its package-relative path, its key (id and type) and its timing.
// A value type; reading one throws Serialize::Error for a malformed archive.
class Resource : public Serialize::ISerializable {
public:
    using Type = ::Resource::Type;
    using Timing = ::Resource::Timing;

    Resource() = default;
    Resource(const QString& path, const QString& id, Type type, const Timing& timing = {});

    QString path;
    std::tuple<QString, Type> key{QString(), ::Resource::Unknown};
    Timing timing;

    QString id() const { return std::get<0>(key); }
    Type type() const { return std::get<1>(key); }

    static std::string staticTypeName() { return "Package::Resource"; }
    std::string typeName() const override { return staticTypeName(); }
    void Serialize(Serialize::ISerializer& serializer) const override;
    void Deserialize(Serialize::IDeserializer& deserializer) override;

    friend bool operator==(const Resource& a, const Resource& b) {
        return a.path == b.path && a.key == b.key && a.timing == b.timing;
    }
};

}  // namespace Package
