#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <functional>
#include <vector>

#include "platform/bundle/bundle_error.h"
#include "platform/bundle/read_limits.h"

// Zip archives of a folder tree: the container format of packages.
namespace Bundle::Zip {

struct PackOptions {
    // Called with the fraction done (0..1); return false to cancel the pack (the call then
    // throws Bundle::Error and leaves no package file).
    std::function<bool(double)> progress;
    // Threads that deflate text files (0: one per core). The package is the same for any number.
    int threads = 0;
};

// Packs every regular file and every folder under `folder` into the zip file `packagePath`, with
// entry names relative to `folder`, "/"-separated, in byte order of their UTF-8 names. Media that
// is compressed already is stored, everything else deflated. Symbolic links and special files are
// skipped, and so is the package itself when it lies inside `folder`. The package appears only
// complete: a failure or a cancel leaves no file at or beside `packagePath`, and a file that was
// there stays untouched. Throws Bundle::Error naming the package and the file at fault, and
// FS::Error naming the package and the system's reason when the disk fails (a write, sync or
// rename; the package is written through FS::Env).
//
// When `packagePath` is `folder` itself, the folder is replaced by its package: the package is
// written beside it and takes the folder's place only when complete, and the folder is removed
// after that. A failure leaves the folder as it was.
void compressAll(const QString& packagePath, const QString& folder,
                 const PackOptions& options = {});

// True when a file of this name is stored rather than deflated (its extension, any case).
bool isStoredByName(const QString& fileName);

// The limits of unpacking and checking: those of every reader of a package (read_limits.h).
using ExtractLimits = Bundle::ReadLimits;

// Unpacks the archive into `folder`, which must not exist or be an empty folder. Refuses unsafe
// entry names, links and special files, duplicates and file/folder clashes, encrypted entries, and
// stops at the limits, counting the bytes that are really decompressed. Writes beside `folder` and
// renames into place when everything succeeded, so a failure leaves nothing behind. Throws
// Bundle::Error naming the archive and the entry, and FS::Error naming the file and the system's
// reason when the disk fails (files are written through FS::Env).
//
// With `damaged`, an entry whose data does not read back intact (a CRC mismatch, broken compressed
// data, an unsupported method) is left out and its name added there instead of failing the unpack,
// so that the rest of a damaged package can still be examined. Unsafe entries and the limits fail
// the unpack all the same.
void extractAll(const QString& archivePath, const QString& folder, const ExtractLimits& limits = {},
                QStringList* damaged = nullptr);

struct Entry {
    QString name;
    qint64 size = 0;
    qint64 compressedSize = 0;
    quint32 crc = 0;
    bool stored = false;
    bool isDirectory = false;
};

// The entries in archive order. Throws Bundle::Error if the file is not a readable zip.
std::vector<Entry> list(const QString& archivePath);

// Reads every entry fully, checking CRCs, and checks the names as extractAll would. Returns one
// line per problem, empty when the archive is sound. Reading stops at the limits as an unpack
// does: an entry past a limit of its own is a problem and is read no further; past a limit of the
// whole archive (entry count, total bytes, ratio to the archive's size) it is a problem and the
// check ends there. Throws Bundle::Error if the file cannot be opened as a zip at all.
QStringList check(const QString& archivePath, const ExtractLimits& limits = {});

// One problem that check finds: the entry at fault (empty when it concerns the whole archive or an
// entry without a readable name) and the line that check returns for it.
struct Problem {
    QString entry;
    QString text;
};

// check, with the entry of every problem apart.
std::vector<Problem> checkEntries(const QString& archivePath, const ExtractLimits& limits = {});

}  // namespace Bundle::Zip
