#pragma once

#include <QString>

#include <optional>

// The time a build stamps on what it writes, for builds that must give the same bytes every time.
//
// By default there is none: packed entries keep their files' own times and permission bits, and
// the content file records the working folder's path. A tool that wants a package to depend on its
// inputs alone installs a fixed time (seconds since 1970, UTC) for the time it builds
// (ScopedBuildClock); then every archive packed on that thread, nested bundles included, takes
// that time and fixed permission bits, and the content file records the working folder by its own
// name only. The clock belongs to the calling thread, as IdSource does.
class BuildClock {
public:
    // The calling thread's fixed time, if one is installed.
    static std::optional<qint64> fixedTime();

    // How the working folder is recorded in what is written: its path as it is, or its last
    // component when a fixed time is installed, so that no path of the building machine is kept.
    static QString recordedFolder(const QString& folder);

    // The time that SOURCE_DATE_EPOCH names in the environment: unset or empty gives none; text
    // that is not a whole number of seconds from 0 on throws std::invalid_argument naming it.
    static std::optional<qint64> sourceDateEpoch();
};

// Installs a fixed time on the calling thread for its lifetime; the previous one (or none) comes
// back after. Guards nest.
class ScopedBuildClock {
public:
    explicit ScopedBuildClock(std::optional<qint64> fixedTime);
    ~ScopedBuildClock();
    ScopedBuildClock(const ScopedBuildClock&) = delete;
    ScopedBuildClock& operator=(const ScopedBuildClock&) = delete;

private:
    std::optional<qint64> m_previous;
};
