#pragma once

#include <QString>
#include <functional>
#include <memory>

#include "cli/checks/check_report.h"

namespace FS {
class ScratchArea;
}

namespace Cli {

// The findings of file checks, kept between runs so that a file checked before is not read by the
// colour, shader or media libraries again. One small file per check of a file, named after a
// digest of everything its findings depend on: the check and what the component gives it, the
// file's path, size and content (XXH3-128), this program's version and the versions of the
// libraries that check. A file that changed has another digest, so its old entry is never used;
// an entry that does not read back whole (cut off, edited, from another version) is ignored and
// written again. The cache only saves time: a folder that cannot be written is skipped, quietly.
class CheckCache {
public:
    // $XDG_CACHE_HOME/packwright/checks, or ~/.cache/packwright/checks; empty without either.
    static QString defaultFolder();

    // `folder` empty: nothing is kept, every check runs.
    explicit CheckCache(const QString& folder);
    ~CheckCache();
    CheckCache(const CheckCache&) = delete;
    CheckCache& operator=(const CheckCache&) = delete;

    using Check = std::function<void(CheckReport&)>;

    // Adds to `report` the findings of `check` on `path` at `place`: those kept from a run on the
    // same file, or those of running it now (and keeps them). `what` names the check and every
    // setting besides the file that changes its findings ("shader transition aux"). Safe to call
    // from several threads at once. `check` must add its findings at `place` only.
    void run(const QString& what, const QString& path, const CheckPlace& place, CheckReport& report,
             const Check& check) const;

    // The file an entry is kept in; empty when the file cannot be read.
    QString entryPath(const QString& what, const QString& path) const;

private:
    QString m_folder;
    std::unique_ptr<FS::ScratchArea> m_area;
};

}  // namespace Cli
