#pragma once

#include <QString>

#include "platform/model/project_content.h"
#include "platform/project/project_writer.h"
#include "platform/serialize/object_storage.h"

namespace Project {

// Reads a project bundle back. Portable media paths ("./clip.mp4") are resolved against the
// bundle's own folder, so a project read from a package points at the media beside its bundle.
class Reader {
public:
    Reader(const QString& bundlePath, BundleBackend backend);

    // The project's content. Its project object lives as long as the reader. Throws Bundle::Error
    // or Serialize::Error naming the bundle when it cannot be read.
    Content read();

private:
    QString m_bundlePath;
    Serialize::ObjectStorage m_storage;
};

}  // namespace Project
