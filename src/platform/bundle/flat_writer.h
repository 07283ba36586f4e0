#pragma once

#include "platform/bundle/content_writer.h"

namespace Bundle {

// Writes each piece of content as a file of that name directly in one folder (which must exist).
// Each file appears complete or not at all; an existing file of the same name is replaced. Throws
// Bundle::Error for a name that is not a plain file name and FS::Error when the file cannot be
// written (written, synced and renamed into place through FS::AtomicFile).
class FlatWriter : public IContentWriter {
public:
    explicit FlatWriter(const QString& folder);

    void writeContent(const QString& name, const QByteArray& data) override;
    QString folder() const { return m_folder; }

private:
    QString m_folder;
};

// True for a name that stands for a file directly in a folder: not empty, no separator, not "." or
// "..". Names read from packages are checked with it before they touch the disk.
bool isPlainFileName(const QString& name);

}  // namespace Bundle
