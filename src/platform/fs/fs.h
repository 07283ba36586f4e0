#pragma once

#include <QString>

// File-system helpers of the platform. Paths are Qt texts with "/" as separator on every system.
namespace FS {

// The separator that joins path components.
inline const QString separator = QStringLiteral("/");

// Copies one regular file. Returns false, and leaves the target untouched, when the target
// exists already (it never overwrites) or when the source is not a readable regular file. A target
// that cannot be written (a full disk, an I/O error, a missing folder) throws FS::Error naming the
// target and the system's reason. The copy is written beside the target and renamed into place, so
// a copy that fails half-way leaves no partial target behind.
bool copy(const QString& from, const QString& to);

// True when something (file or folder) exists at the path.
bool exists(const QString& path);

// Creates the folder and its missing parents. True when the folder exists afterwards.
bool makePath(const QString& path);

// Folds "." and "..", doubled separators and a trailing separator, as QDir::cleanPath does.
QString cleanPath(const QString& path);

// The last path component: "a/b/clip one.mp4" gives "clip one.mp4".
QString fileName(const QString& path);

// The last path component without its last suffix: "a/clip.tar.gz" gives "clip.tar".
QString baseName(const QString& path);

// Total size in bytes of the regular files under a folder (symbolic links are not followed),
// or the size of the file itself; 0 when nothing exists at the path.
qint64 pathSize(const QString& path);

}  // namespace FS
