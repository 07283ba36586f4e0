#pragma once

#include <QIODevice>
#include <QString>
#include <QStringList>
#include <map>
#include <memory>

#include "platform/bundle/read_limits.h"

struct zip;

namespace Cli::Preview {

class UnpackState;

// A package opened for looking at, without unpacking its media. Every entry is unpacked into a
// folder except large stored resources (media: videos, big pictures), which stay in the archive and
// are read in place through open(). Entry names are checked as an unpack checks them: nothing
// lands outside the folder, links and special files are skipped, and sizes stop at the limits.
// An entry whose data does not read back intact is left out and listed by damaged().
class PackageSource {
public:
    // Stored entries of the resource folder above this size stay in the archive.
    static constexpr qint64 kKeptBytes = qint64(1) << 20;

    // Opens `packagePath` and unpacks what it keeps out of the archive into `folder`, which must
    // exist and is the caller's to remove. Throws Bundle::Error naming the package and the entry.
    PackageSource(const QString& packagePath, const QString& folder,
                  const Bundle::ReadLimits& limits = {});
    ~PackageSource();
    PackageSource(const PackageSource&) = delete;
    PackageSource& operator=(const PackageSource&) = delete;

    // The folder the package is unpacked into: its description, content file and stored items are
    // read from here.
    const QString& root() const { return m_root; }

    // The size of the file entry of this package-relative name; -1 when there is none.
    qint64 size(const QString& entry) const;

    // Reads the file entry of this package-relative name, from the folder or in place from the
    // archive; null when the package has no such file.
    std::unique_ptr<QIODevice> open(const QString& entry) const;

    // The package-relative name of an absolute path under root(); empty when it is outside.
    QString entryOf(const QString& path) const;

    // The entries left out because their data did not read back intact.
    const QStringList& damaged() const { return m_damaged; }

private:
    struct Entry {
        qint64 index = 0;
        qint64 size = 0;
        bool kept = false;  // left in the archive
    };

    // False when the entry's data does not read back intact.
    bool unpack(const QString& name, const Entry& entry, qint64 compressed, UnpackState& state);

    QString m_packagePath;
    QString m_root;
    zip* m_archive = nullptr;
    std::map<QString, Entry> m_entries;  // by cleaned package-relative name
    QStringList m_damaged;
};

}  // namespace Cli::Preview
