#pragma once

#include <QString>

#include "platform/fs/temporary_paths.h"

namespace FS {

// A private folder in the system's temporary folder, removed with everything in it when the
// object goes. It is registered with TemporaryPaths, so that a signal removes it too, and named
// "packwright-<kind>-<pid>-<random>", so that a later run can tell a stale one and remove it.
// Leftovers of processes that are gone are removed when one is created.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const QString& kind = QStringLiteral("tmp"));
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    bool isValid() const { return !path_.isEmpty(); }
    // Why the folder could not be made (empty when it was).
    QString errorString() const { return error_; }
    // The folder's absolute path; empty when it could not be made.
    QString path() const { return path_; }
    QString filePath(const QString& name) const { return path_ + QLatin1Char('/') + name; }

private:
    QString path_;
    QString error_;
    TemporaryPath registration_;
};

}  // namespace FS
