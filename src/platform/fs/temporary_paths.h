#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

// Temporary files and folders that must not outlive an interrupted command.
//
// Whatever writes a temporary (a package being packed, a folder being unpacked, a working copy)
// registers it while it is in progress and releases it once it has been committed or removed. A
// program that handles signals calls removeAll() before it exits on one. Every function here is
// safe to call from any thread.
//
// Temporaries are named so that they can be told apart and cleaned up after a process that could
// not clean up (SIGKILL, a power cut): ".<name>.pw-<kind>-<pid>-<random>" beside the file they
// stand in for, or "packwright-<kind>-<pid>-<random>" in the system's temporary folder.
namespace FS {

class TemporaryPaths {
public:
    // Registers a path to remove on removeAll(), before it is created; returns the token that
    // releases it.
    static quint64 add(const QString& path);
    // Forgets a registered path (it was committed, or removed by its owner). Unknown tokens and 0
    // are ignored.
    static void release(quint64 token);
    // Removes every registered path, files and whole folders alike, and forgets them. Never
    // throws; what cannot be removed is left. It is meant for a process about to end: from then
    // on add() blocks for good, so register a temporary before creating it.
    static void removeAll();
    // The paths registered now, oldest first (for tests).
    static QStringList registered();
};

// Owns one registration: releases it when destroyed. Removing the path stays the owner's business.
class TemporaryPath {
public:
    TemporaryPath() = default;
    explicit TemporaryPath(const QString& path) : token_(TemporaryPaths::add(path)) {}
    ~TemporaryPath() { TemporaryPaths::release(token_); }
    TemporaryPath(const TemporaryPath&) = delete;
    TemporaryPath& operator=(const TemporaryPath&) = delete;
    TemporaryPath(TemporaryPath&& other) noexcept : token_(other.token_) { other.token_ = 0; }
    TemporaryPath& operator=(TemporaryPath&& other) noexcept;

    // Registers `path` in place of what was registered before.
    void reset(const QString& path = QString());

private:
    quint64 token_ = 0;
};

// A free name for a temporary beside `target`: ".<target's name>.pw-<kind>-<pid>-<random>" in the
// target's folder. `kind` is a short word such as "pack" or "unpack".
QString temporarySibling(const QString& target, const QString& kind);

// A free name for a temporary in the system's temporary folder: "packwright-<kind>-<pid>-<random>".
QString temporaryInTempFolder(const QString& kind);

// True when `fileName` (a name, not a path) is one of our temporaries whose process is gone.
bool isStaleTemporary(const QString& fileName);

// Removes the temporaries left in `folder` by processes that no longer run (files and folders
// alike). Returns how many it removed. Never throws.
int removeStaleTemporaries(const QString& folder);

// Removes a file, or a folder with everything in it, without following symbolic links. True when
// nothing is left at the path.
bool removeAllAt(const QString& path);

}  // namespace FS
