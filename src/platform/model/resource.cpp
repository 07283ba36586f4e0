#include "platform/model/resource.h"

#include "platform/serialize/deserializer.h"
#include "platform/serialize/serializer.h"
#include "platform/serialize/type_registry.h"

namespace Resource {

QString serializeResource(const std::tuple<QString, Type>& key) {
    return QStringLiteral("%1:%2").arg(std::get<0>(key)).arg(qint32(std::get<1>(key)));
}

bool parseResource(const QString& text, std::tuple<QString, Type>* key) {
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    if (colon < 0)
        return false;
    bool ok = false;
    const qint32 type = text.midRef(colon + 1).toInt(&ok);
    if (!ok)
        return false;
    *key = std::make_tuple(text.left(colon), Type(type));
    return true;
}

}  // namespace Resource

namespace Package {

static const Serialize::RegisterType<Resource> registerResource("Package::Resource");

Resource::Resource(const QString& path, const QString& id, Type type, const Timing& timing)
    : path(path), key(id, type), timing(timing) {}

void Resource::Serialize(Serialize::ISerializer& s) const {
    s.write("path", path);
    s.write("id", id());
    s.write("type", qint32(type()));
    s.key("timing");
    s.beginSection();
    s.write("start", timing.start);
    s.write("length", timing.length);
    s.write("frameRate", timing.frameRate);
    s.endSection();
}

void Resource::Deserialize(Serialize::IDeserializer& d) {
    QString id;
    qint32 type = 0;
    d.read("path", path);
    d.read("id", id);
    d.read("type", type);
    key = std::make_tuple(id, Type(type));
    d.key("timing");
    d.beginSection();
    d.read("start", timing.start);
    d.read("length", timing.length);
    d.read("frameRate", timing.frameRate);
    d.endSection();
}

}  // namespace Package
