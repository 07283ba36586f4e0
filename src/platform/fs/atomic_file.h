#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

#include <memory>

#include "platform/fs/env.h"
#include "platform/fs/fs_error.h"
#include "platform/fs/temporary_paths.h"

namespace FS {

// A file written beside its target under a temporary name and renamed into place by commit():
// the target holds its old content or the whole new one, never a part. Writes are buffered and go
// through Env::current(). Every failure throws FS::Error naming the target and the system's reason.
// The temporary (".<name>.pw-<kind>-...") is registered with TemporaryPaths while it exists, and
// removed when the file is destroyed uncommitted. Inside a ScratchArea, whose files no one keeps,
// nothing is synced.
class AtomicFile {
public:
    // Creates the temporary beside `target`; its folder must exist.
    explicit AtomicFile(const QString& target, const QString& kind = QStringLiteral("write"));
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    void append(const char* data, qint64 size);
    void append(const QByteArray& data) { append(data.constData(), data.size()); }
    // Appends what is left to read of the file `fd` (see WritableFile::copyFrom).
    void appendFrom(int fd);
    // Moves the write position (within what was written, or to its end).
    void seek(qint64 offset);
    qint64 position() const { return m_position; }
    qint64 size() const { return m_size; }

    // Flushes, syncs and closes the temporary; nothing more can be written.
    void close();
    // Closes the temporary if still open and renames it over the target, then syncs the target's
    // folder (unless `syncFolder` is false: the caller does it). With `replace` false an existing
    // target is not replaced: commit() then throws (EEXIST) and removes the temporary.
    void commit(bool replace = true, bool syncFolder = true);
    // Drops what was written; the target stays as it was.
    void discard();

    QString target() const { return m_target; }
    QString temporaryPath() const { return m_temporary; }

private:
    void flush();
    void writeBehind();
    [[noreturn]] void fail(const QString& action, int code);

    QString m_target;
    QString m_temporary;
    TemporaryPath m_registration;
    std::unique_ptr<WritableFile> m_file;
    bool m_closed = false;
    bool m_sync = true;
    QByteArray m_buffer;
    qint64 m_position = 0;
    qint64 m_size = 0;
    qint64 m_writtenBack = 0;  // bytes whose writing to the device has been started
};

// Writes `data` as the file `path`, replacing what is there, through an AtomicFile.
void writeFileAtomically(const QString& path, const QByteArray& data);

// Writes several files as one: either every file gets its new content or, when anything fails,
// every file that was there keeps its old one and no new file is left. Throws FS::Error.
void writeFilesAtomically(const QList<QPair<QString, QByteArray>>& files);

}  // namespace FS
