#include "platform/fs/atomic_file.h"

#include "platform/fs/scratch_area.h"

#include <QFile>
#include <QFileInfo>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace FS {
namespace {

// Large enough that the zip writer's small pieces become few system writes.
constexpr qint64 kBufferSize = qint64(1) << 20;

// How much a synced file is written ahead of its sync, in one go: the device writes while we go on
// making the rest, instead of all of it at commit (the system would start only much later).
constexpr qint64 kWriteBehind = qint64(8) << 20;

QString folderOf(const QString& path) {
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    return slash > 0 ? path.left(slash) : slash == 0 ? QStringLiteral("/") : QStringLiteral(".");
}

void syncFolderOf(const QString& path) {
    if (const int code = Env::current().syncFolder(folderOf(path)))
        throw Error(QStringLiteral("sync the folder of"), path, code);
}

}  // namespace

AtomicFile::AtomicFile(const QString& target, const QString& kind)
    : m_target(target), m_sync(!ScratchArea::contains(target)) {
    for (int attempt = 0;; ++attempt) {
        m_temporary = temporarySibling(target, kind);
        m_registration.reset(m_temporary);
        const int code = Env::current().newWritableFile(m_temporary, &m_file);
        if (code == 0)
            break;
        m_registration.reset();
        m_temporary.clear();
        if (code != EEXIST || attempt == 10)
            fail(QStringLiteral("create"), code);
    }
}

AtomicFile::~AtomicFile() {
    discard();
}

void AtomicFile::append(const char* data, qint64 size) {
    if (!m_file || m_closed)
        fail(QStringLiteral("write"), EBADF);
    while (size > 0) {
        if (m_buffer.isEmpty()) {
            if (size >= kBufferSize) {
                // Nothing to gather: hand large pieces straight down.
                const int code = m_file->write(data, size);
                if (code != 0)
                    fail(QStringLiteral("write"), code);
                m_position += size;
                m_size = std::max(m_size, m_position);
                writeBehind();
                return;
            }
        }
        const qint64 n = std::min(size, kBufferSize - m_buffer.size());
        m_buffer.append(data, int(n));
        data += n;
        size -= n;
        m_position += n;
        m_size = std::max(m_size, m_position);
        if (m_buffer.size() >= kBufferSize)
            flush();
    }
}

void AtomicFile::appendFrom(int fd) {
    if (!m_file || m_closed)
        fail(QStringLiteral("write"), EBADF);
    flush();
    qint64 copied = 0;
    const int code = m_file->copyFrom(fd, &copied);
    m_position += copied;
    m_size = std::max(m_size, m_position);
    if (code != 0)
        fail(QStringLiteral("write"), code);
}

void AtomicFile::flush() {
    if (m_buffer.isEmpty())
        return;
    const int code = m_file->write(m_buffer.constData(), m_buffer.size());
    m_buffer.clear();
    if (code != 0)
        fail(QStringLiteral("write"), code);
    writeBehind();
}

void AtomicFile::writeBehind() {
    // Unsynced files are nobody's to keep: the system may take its time with them.
    if (!m_sync || m_size - m_writtenBack < kWriteBehind)
        return;
    // A failure here shows again, and is reported, when the file is synced.
    m_file->startWriteback(m_writtenBack, m_size - m_writtenBack);
    m_writtenBack = m_size;
}

void AtomicFile::seek(qint64 offset) {
    if (!m_file)
        fail(QStringLiteral("write"), EBADF);
    if (offset < 0 || offset > m_size)
        fail(QStringLiteral("seek in"), EINVAL);
    flush();
    const int code = m_file->seek(offset);
    if (code != 0)
        fail(QStringLiteral("seek in"), code);
    m_position = offset;
}

void AtomicFile::close() {
    if (!m_file)
        fail(QStringLiteral("write"), EBADF);
    flush();
    int code = m_sync ? m_file->sync() : 0;
    if (code != 0)
        fail(QStringLiteral("sync"), code);
    code = m_file->close();
    m_file.reset();
    if (code != 0)
        fail(QStringLiteral("write"), code);
    m_closed = true;
}

void AtomicFile::commit(bool replace, bool syncFolder) {
    syncFolder = syncFolder && m_sync;
    if (!m_closed)
        close();
    const bool existed = QFileInfo::exists(m_target) || QFileInfo(m_target).isSymLink();
    if (!replace && existed)
        fail(QStringLiteral("create"), EEXIST);
    // The old file stays reachable (a hard link: no copy) until the folder is synced, so that a
    // failed sync can put it back: the target then holds its old content, as after any failure.
    TemporaryPath backupRegistration;
    QString backup;
    if (syncFolder && existed) {
        backup = temporarySibling(m_target, QStringLiteral("backup"));
        backupRegistration.reset(backup);
        if (::link(QFile::encodeName(m_target).constData(), QFile::encodeName(backup).constData()))
            backup.clear();  // no hard links on this file system: no way back
    }
    const int code = Env::current().rename(m_temporary, m_target);
    if (code != 0) {
        if (!backup.isEmpty())
            removeAllAt(backup);
        fail(QStringLiteral("rename a file onto"), code);
    }
    m_temporary.clear();
    m_registration.reset();
    m_closed = false;
    if (!syncFolder)
        return;
    if (const int synced = Env::current().syncFolder(folderOf(m_target))) {
        if (!backup.isEmpty())
            Env::current().rename(backup, m_target);
        else if (!existed)
            removeAllAt(m_target);
        throw Error(QStringLiteral("sync the folder of"), m_target, synced);
    }
    if (!backup.isEmpty())
        removeAllAt(backup);
}

void AtomicFile::discard() {
    m_file.reset();
    m_closed = false;
    m_buffer.clear();
    if (!m_temporary.isEmpty())
        removeAllAt(m_temporary);
    m_temporary.clear();
    m_registration.reset();
}

void AtomicFile::fail(const QString& action, int code) {
    discard();
    throw Error(action, m_target, code);
}

void writeFileAtomically(const QString& path, const QByteArray& data) {
    AtomicFile file(path);
    file.append(data);
    file.commit();
}

void writeFilesAtomically(const QList<QPair<QString, QByteArray>>& files) {
    std::vector<std::unique_ptr<AtomicFile>> written;
    for (const auto& file : files) {
        written.push_back(std::make_unique<AtomicFile>(file.first));
        written.back()->append(file.second);
        written.back()->close();
    }
    // The old files are kept under a second name (a hard link: no copy) until every new one is in
    // place, so that a failed rename can put back those already replaced.
    struct Backup {
        QString target;
        bool existed = false;
        QString saved;  // empty when there was no old file, or it could not be linked
        TemporaryPath registration;
    };
    std::vector<Backup> backups;
    backups.reserve(written.size());
    const auto dropBackups = [&] {
        for (const Backup& backup : backups) {
            if (!backup.saved.isEmpty())
                removeAllAt(backup.saved);
        }
    };
    try {
        for (const auto& file : written) {
            backups.push_back({file->target(), QFileInfo::exists(file->target()), QString(), {}});
            Backup& backup = backups.back();
            if (backup.existed) {
                const QString saved = temporarySibling(file->target(), QStringLiteral("backup"));
                backup.registration.reset(saved);
                if (::link(QFile::encodeName(file->target()).constData(),
                           QFile::encodeName(saved).constData()) == 0)
                    backup.saved = saved;
                else
                    backup.registration.reset();  // no hard links here: no way back for this one
            }
            file->commit(true, false);
        }
        for (const auto& file : files)
            syncFolderOf(file.first);
    } catch (...) {
        for (auto it = backups.rbegin(); it != backups.rend(); ++it) {
            if (!it->saved.isEmpty())
                Env::current().rename(it->saved, it->target);
            else if (!it->existed)
                removeAllAt(it->target);
        }
        dropBackups();
        throw;
    }
    dropBackups();
}

}  // namespace FS
