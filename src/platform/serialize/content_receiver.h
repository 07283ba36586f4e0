#pragma once

#include <QByteArray>
#include <QString>

#include "platform/serialize/image.h"

namespace Serialize {

// Receives the images and blobs met while an object is serialized and stores them beside the
// archive. Returns the name under which the archive refers to them (empty for a null image).
class IContentReceiver {
public:
    virtual ~IContentReceiver() = default;
    virtual QString PutImage(const Types::Image& image) = 0;
    virtual QString PutBlob(const QByteArray& data) = 0;
};

// The reverse of IContentReceiver: gives back the content that an archive names. Throws
// Serialize::Error when the name cannot be resolved.
class IContentSource {
public:
    virtual ~IContentSource() = default;
    virtual Types::Image GetImage(const QString& name) = 0;
    virtual QByteArray GetBlob(const QString& name) = 0;
};

}  // namespace Serialize
