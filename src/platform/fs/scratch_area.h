#pragma once

#include <QString>

namespace FS {

// A folder whose files are scratch: private to this process and removed when it is done with
// them (a tool's temporary working area), never a folder the user edits. While one is declared,
// FS::copy into it gives the target a second name of the source (a hard link) when it can, and
// AtomicFile does not sync what it writes there: nothing is kept that a crash could damage. Outside
// every declared area FS::copy makes real, synced copies.
class ScratchArea {
public:
    explicit ScratchArea(const QString& folder);
    ~ScratchArea();
    ScratchArea(const ScratchArea&) = delete;
    ScratchArea& operator=(const ScratchArea&) = delete;

    // Whether `path` lies below a declared area.
    static bool contains(const QString& path);

private:
    QString m_folder;
};

}  // namespace FS
