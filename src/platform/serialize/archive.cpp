#include "platform/serialize/archive.h"

#include "platform/serialize/error.h"
#include "platform/serialize/serializer.h"

namespace Serialize {

QByteArray writeArchive(const ISerializable& root, IContentReceiver& receiver, Format format,
                        const QString& targetName) {
    QByteArray data;
    try {
        std::unique_ptr<IFormatter> formatter = MakeFormatter(data, receiver, format);
        ISerializer::MakeSerializer(*formatter)->serialize(root);
        formatter->finish();
    } catch (const Error& error) {
        if (targetName.isEmpty() || !error.source().isEmpty())
            throw;
        throw Error(targetName, 0, QString(), QString::fromStdString(error.what()));
    }
    return data;
}

void readArchive(const QByteArray& data, const QString& sourceName, ISerializable& root,
                 IContentSource& source, ObjectStorage& storage, const ParseLimits& limits) {
    const Node tree = parseXml(data, sourceName, limits);
    IDeserializer::MakeDeserializer(tree, source, storage, sourceName)->deserialize(root);
}

std::unique_ptr<ISerializable> readArchive(const QByteArray& data, const QString& sourceName,
                                           IContentSource& source, ObjectStorage& storage,
                                           const ParseLimits& limits) {
    const Node tree = parseXml(data, sourceName, limits);
    return IDeserializer::MakeDeserializer(tree, source, storage, sourceName)->deserialize();
}

QString MemoryContent::PutImage(const Types::Image& image) {
    const QString name = QStringLiteral("image%1").arg(m_images.size() + 1);
    m_images.insert(name, image);
    return name;
}

QString MemoryContent::PutBlob(const QByteArray& data) {
    const QString name = QStringLiteral("blob%1").arg(m_blobs.size() + 1);
    m_blobs.insert(name, data);
    return name;
}

Types::Image MemoryContent::GetImage(const QString& name) {
    const auto it = m_images.constFind(name);
    if (it == m_images.constEnd())
        throw Error(QStringLiteral("no image named '%1'").arg(name));
    return *it;
}

QByteArray MemoryContent::GetBlob(const QString& name) {
    const auto it = m_blobs.constFind(name);
    if (it == m_blobs.constEnd())
        throw Error(QStringLiteral("no blob named '%1'").arg(name));
    return *it;
}

}  // namespace Serialize
