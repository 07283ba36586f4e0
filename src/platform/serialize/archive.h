#pragma once

#include <QByteArray>
#include <QMap>
#include <memory>

#include "platform/serialize/content_receiver.h"
#include "platform/serialize/deserializer.h"
#include "platform/serialize/formatter.h"
#include "platform/serialize/object_storage.h"

namespace Serialize {

// Serializes `root` into a complete archive of the given format. `targetName` (the file that the
// archive is for) prefixes the messages of the Serialize::Error raised, e.g. for an archive too
// large for a byte array: "item.xml: the archive is too large: ...".
QByteArray writeArchive(const ISerializable& root, IContentReceiver& receiver,
                        Format format = Format::Xml, const QString& targetName = QString());

// Reads an archive into an existing root object of the same type. `sourceName` names the archive in
// error messages; `limits` bound the reading of untrusted input.
void readArchive(const QByteArray& data, const QString& sourceName, ISerializable& root,
                 IContentSource& source, ObjectStorage& storage, const ParseLimits& limits = {});

// Reads an archive, creating its root object through the type registry (null for a null root).
std::unique_ptr<ISerializable> readArchive(const QByteArray& data, const QString& sourceName,
                                           IContentSource& source, ObjectStorage& storage,
                                           const ParseLimits& limits = {});

// Keeps images and blobs in memory, as receiver and as source: for cloning and for tests. Owns
// them; GetImage() and GetBlob() throw Serialize::Error for a name it was never given.
class MemoryContent : public IContentReceiver, public IContentSource {
public:
    QString PutImage(const Types::Image& image) override;
    QString PutBlob(const QByteArray& data) override;
    Types::Image GetImage(const QString& name) override;
    QByteArray GetBlob(const QString& name) override;

private:
    QMap<QString, Types::Image> m_images;
    QMap<QString, QByteArray> m_blobs;
};

}  // namespace Serialize
