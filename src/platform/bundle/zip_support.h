#pragma once

// What packing, unpacking and checking zip archives share: constants, messages and the scan of an
// archive's entry table. Internal to the bundle library; not installed for applications.

#include <QByteArray>
#include <QString>

#include <zip.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <vector>

#include "platform/bundle/zip.h"

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

struct CloseFd {
    int fd = -1;
    ~CloseFd();
};

bool writeAll(int fd, const char* data, qint64 size);

// Why an entry name is unsafe to write below a folder (or unportable), or empty when it is fine.
QString nameProblem(const QByteArray& name);

// Opens an archive for reading; `what` names the action in messages ("unpack", "check").
Archive openForReading(const QString& archivePath, const QString& what);

void removeTree(const QByteArray& path);
bool isEmptyFolder(const QByteArray& path);
// A free name beside `target` for a temporary of the given kind: "<parent>/.<base><kind><random>".
QByteArray freeSibling(const QByteArray& target, const char* kind);
bool isSameFolder(const QByteArray& a, const QByteArray& b);

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
