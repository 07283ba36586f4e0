#pragma once

// What packing, unpacking and checking zip archives share: constants, messages and the scan of an
// archive's entry table. Internal to the bundle library; not installed for applications.

#include <QByteArray>
#include <QString>

#include <zip.h>

#include <algorithm>
#include <climits>
#include <exception>
#include <memory>
#include <vector>

#include "platform/bundle/zip.h"
#include "platform/fs/atomic_file.h"

namespace Bundle::Zip::detail {

// Unix file types as zip external attributes carry them (upper 16 bits), independent of the host.
constexpr quint32 kTypeMask = 0170000;
constexpr quint32 kTypeLink = 0120000;
constexpr quint32 kTypeFile = 0100000;
constexpr quint32 kTypeDir = 0040000;

constexpr qint64 kChunk = 256 * 1024;

[[noreturn]] void throwError(const QString& message);

// Names come from files and archives we do not control; keep every message on one line.
QString quoted(const QString& text);
QString quoted(const QByteArray& utf8);
QString systemError(int code);
QString zipError(int code);

struct Discard {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
using Archive = std::unique_ptr<zip_t, Discard>;

// Why an entry name is unsafe to write below a folder (or unportable), or empty when it is fine.
QString nameProblem(const QByteArray& name);

// Opens an archive for reading; `what` names the action in messages ("unpack", "check").
Archive openForReading(const QString& archivePath, const QString& what);
// What the central directory says of one entry.
Entry entryOf(const zip_stat_t& st);

void removeTree(const QByteArray& path);
bool isEmptyFolder(const QByteArray& path);
bool isSameFolder(const QByteArray& a, const QByteArray& b);

// Where libzip writes a new archive: a zip source over an FS::AtomicFile beside the package
// (".<name>.pw-pack-..."), synced and renamed over the package on commit, removed on rollback. The
// package thus appears only complete, and a package already there stays untouched until then.
// Writes go through FS::Env, so a failing disk fails the pack with the FS::Error kept in failure().
class ArchiveTarget {
public:
    explicit ArchiveTarget(const QString& package);
    ~ArchiveTarget();
    ArchiveTarget(const ArchiveTarget&) = delete;
    ArchiveTarget& operator=(const ArchiveTarget&) = delete;

    // A new archive for writing, opened on a source that calls this target: the target must
    // outlive it. Null, with `code` set, when libzip refuses.
    zip_t* open(int* code);
    // What stopped the writing (an FS::Error), or null.
    std::exception_ptr failure() const { return failure_; }

private:
    static zip_int64_t callback(void* self, void* data, zip_uint64_t length, zip_source_cmd_t cmd);
    zip_int64_t handle(void* data, zip_uint64_t length, zip_source_cmd_t cmd);

    QString package_;
    std::unique_ptr<FS::AtomicFile> file_;
    zip_error_t error_;
    std::exception_ptr failure_;
};

struct Scanned {
    zip_uint64_t index = 0;
    QByteArray name;
    bool isDir = false;
    zip_stat_t stat;
};

Problem entryProblem(const QByteArray& name, const QString& reason);

// The sizes that an entry's header declares, capped so that sums of them cannot overflow.
inline qint64 declaredSize(const Scanned& entry) {
    return qint64(std::min<zip_uint64_t>(entry.stat.size, INT64_MAX / 4));
}
inline qint64 compressedSize(const Scanned& entry) {
    return qint64(std::min<zip_uint64_t>(entry.stat.comp_size, INT64_MAX / 4));
}

// Reads the entry table and appends one line per unsafe entry to `problems`: bad names, links
// and special files, encryption, duplicates, and a file where another entry needs a folder.
std::vector<Scanned> scan(zip_t* archive, std::vector<Problem>& problems);

}  // namespace Bundle::Zip::detail
