#pragma once

#include <memory>

#include "platform/bundle/content_writer.h"
#include "platform/serialize/content_receiver.h"

namespace Bundle {

// Stores the images (as PNG) and blobs of a serialized object through a content writer. The first
// image is named imageBaseName() + ".png", later ones imageBaseName() + "_2.png" and so on; blobs
// likewise with blobBaseName() (or "blob" when that is empty) and ".bin". Shares the writer;
// throws what it throws (FS::Error when the disk fails), and Bundle::Error for an image that
// cannot be encoded.
class AbstractContentReceiver : public Serialize::IContentReceiver {
public:
    explicit AbstractContentReceiver(const std::shared_ptr<IContentWriter>& writer);

    QString PutImage(const Types::Image& image) override;
    QString PutBlob(const QByteArray& data) override;

protected:
    virtual QString imageBaseName() const = 0;
    virtual QString blobBaseName() const = 0;

private:
    std::shared_ptr<IContentWriter> m_writer;
    int m_images = 0;
    int m_blobs = 0;
};

}  // namespace Bundle
