#pragma once

#include <QByteArray>
#include <QString>

namespace Bundle {

// Writes named pieces of content (archives, images) somewhere. Throws Bundle::Error for content
// it refuses, FS::Error when the disk fails.
class IContentWriter {
public:
    virtual ~IContentWriter() = default;
    virtual void writeContent(const QString& name, const QByteArray& data) = 0;
};

}  // namespace Bundle
