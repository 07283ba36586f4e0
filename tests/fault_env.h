#pragma once

#include <QString>

#include "platform/fs/env.h"

namespace TestSupport {

// A file-system environment that counts the writes, renames, links and syncs of the platform's
// writers and makes the N-th of them fail with a chosen errno, as a full or failing disk would.
// Everything else is done by the system's environment. Installed process-wide while it lives.
class FaultEnv : public FS::Env {
public:
    FaultEnv();
    ~FaultEnv() override;
    FaultEnv(const FaultEnv&) = delete;
    FaultEnv& operator=(const FaultEnv&) = delete;

    // Fails operation number `n` (1-based; 0: none) with `code`, and starts counting again.
    void failAt(int n, int code);
    // Operations seen since the last failAt().
    int count() const { return m_count; }
    // Whether the chosen operation came and failed, and what it was ("write /a/b", ...).
    bool failed() const { return !m_failure.isEmpty(); }
    QString failure() const { return m_failure; }

    int newWritableFile(const QString& path, std::unique_ptr<FS::WritableFile>* file) override;
    int rename(const QString& from, const QString& to) override;
    int syncFolder(const QString& folder) override;
    int link(const QString& from, const QString& to) override;

    // Counts one operation; returns the errno to fail it with, or 0.
    int next(const QString& what);

private:
    FS::Env* m_previous = nullptr;
    int m_failAt = 0;
    int m_code = 0;
    int m_count = 0;
    QString m_failure;
};

}  // namespace TestSupport
