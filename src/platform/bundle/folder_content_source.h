#pragma once

#include "platform/bundle/read_limits.h"
#include "platform/serialize/content_receiver.h"

namespace Bundle {

// Gives back the images and blobs that an archive in `folder` names, reading them from that folder.
// Only plain file names are accepted, so an archive cannot reach outside its folder; images and
// blobs are read within `limits` (an image's size is checked before it is decoded). Throws
// Serialize::Error naming the file for a name it refuses or a file it cannot read, and
// Types::NoGuiApplicationError for an image when the program has no QGuiApplication.
class FolderContentSource : public Serialize::IContentSource {
public:
    explicit FolderContentSource(const QString& folder, const ReadLimits& limits = {});

    Types::Image GetImage(const QString& name) override;
    QByteArray GetBlob(const QString& name) override;

private:
    QString resolve(const QString& name) const;
    QString m_folder;
    ReadLimits m_limits;
};

}  // namespace Bundle
