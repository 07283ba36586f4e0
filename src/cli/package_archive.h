#pragma once

#include <QByteArray>
#include <QString>
#include <memory>
#include <vector>

#include "platform/bundle/read_limits.h"
#include "platform/bundle/zip.h"

struct zip;

namespace Cli {

// A package file read in place: its entries from the archive's central directory, and single
// entries read or copied out without unpacking anything else. Reads are bounded by the limits of
// every reader of a package, and an entry's data is checked against its CRC as it is read.
// Throws Cli::Error naming the package and the entry.
class PackageArchive {
public:
    explicit PackageArchive(const QString& path, const Bundle::ReadLimits& limits = {});
    ~PackageArchive();
    PackageArchive(const PackageArchive&) = delete;
    PackageArchive& operator=(const PackageArchive&) = delete;

    const std::vector<Bundle::Zip::Entry>& entries() const { return m_entries; }
    // The entry of that name, or null.
    const Bundle::Zip::Entry* find(const QString& name) const;

    // The whole entry, which may hold at most `limit` bytes.
    QByteArray read(const QString& name, qint64 limit) const;
    // Copies the entry to `target` atomically (FS::AtomicFile): the target holds the whole entry,
    // or stays as it was. With `replace` false an existing target is an error.
    void copyTo(const QString& name, const QString& target, bool replace) const;

    // Why an entry name may not be taken out of a package (it climbs out, is absolute, holds a
    // backslash or a control character), or empty when it may.
    static QString nameProblem(const QString& name);

private:
    struct Discard {
        void operator()(zip* archive) const;
    };
    qint64 indexOf(const QString& name) const;

    QString m_path;
    Bundle::ReadLimits m_limits;
    std::unique_ptr<zip, Discard> m_archive;
    std::vector<Bundle::Zip::Entry> m_entries;
};

}  // namespace Cli
