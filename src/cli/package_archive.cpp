#include "cli/package_archive.h"

#include <zip.h>
#include <QFile>

#include <algorithm>

#include "cli/cli_error.h"
#include "platform/bundle/zip_support.h"
#include "platform/fs/atomic_file.h"

namespace Cli {
namespace {

constexpr qint64 kChunk = 256 * 1024;

struct CloseFile {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};

}  // namespace

void PackageArchive::Discard::operator()(zip* archive) const {
    zip_discard(archive);
}

PackageArchive::PackageArchive(const QString& path, const Bundle::ReadLimits& limits)
    : m_path(path), m_limits(limits) {
    int code = 0;
    m_archive.reset(zip_open(QFile::encodeName(path).constData(), ZIP_RDONLY, &code));
    if (!m_archive) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        const QString reason = QString::fromUtf8(zip_error_strerror(&error));
        zip_error_fini(&error);
        throw Error(QStringLiteral("%1: not a readable package: %2").arg(path, reason));
    }
    const zip_int64_t count = zip_get_num_entries(m_archive.get(), 0);
    if (count > m_limits.maxEntries)
        throw Error(QStringLiteral("%1: holds %2 entries, more than the limit of %3")
                        .arg(path)
                        .arg(count)
                        .arg(m_limits.maxEntries));
    m_entries.reserve(size_t(std::max<zip_int64_t>(count, 0)));
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t st;
        if (zip_stat_index(m_archive.get(), zip_uint64_t(i), 0, &st) != 0)
            throw Error(QStringLiteral("%1: entry #%2: %3")
                            .arg(path)
                            .arg(i)
                            .arg(QString::fromUtf8(zip_strerror(m_archive.get()))));
        m_entries.push_back(Bundle::Zip::detail::entryOf(st));
    }
}

PackageArchive::~PackageArchive() = default;

const Bundle::Zip::Entry* PackageArchive::find(const QString& name) const {
    const qint64 index = indexOf(name);
    return index < 0 ? nullptr : &m_entries[size_t(index)];
}

qint64 PackageArchive::indexOf(const QString& name) const {
    for (size_t i = 0; i < m_entries.size(); ++i) {
        if (m_entries[i].name == name)
            return qint64(i);
    }
    return -1;
}

QString PackageArchive::nameProblem(const QString& name) {
    if (name.isEmpty())
        return QStringLiteral("the name is empty");
    if (name.startsWith(QLatin1Char('/')) || name.contains(QLatin1Char('\\')) ||
        (name.size() > 1 && name[1] == QLatin1Char(':')))
        return QStringLiteral("an absolute path or a backslash");
    for (const QString& part : name.split(QLatin1Char('/'))) {
        if (part == QLatin1String(".."))
            return QStringLiteral("it climbs out with '..'");
    }
    for (const QChar c : name) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            return QStringLiteral("it holds a control character");
    }
    return QString();
}

QByteArray PackageArchive::read(const QString& name, qint64 limit) const {
    QByteArray data;
    const qint64 index = indexOf(name);
    if (index < 0)
        throw Error(QStringLiteral("%1: %2 is missing").arg(m_path, name));
    const Bundle::Zip::Entry& entry = m_entries[size_t(index)];
    if (entry.size > limit)
        throw Error(QStringLiteral("%1: %2: %3 bytes, more than the limit of %4")
                        .arg(m_path, name)
                        .arg(entry.size)
                        .arg(limit));
    std::unique_ptr<zip_file_t, CloseFile> file(
        zip_fopen_index(m_archive.get(), zip_uint64_t(index), 0));
    if (!file)
        throw Error(QStringLiteral("%1: %2: %3")
                        .arg(m_path, name, QString::fromUtf8(zip_strerror(m_archive.get()))));
    data.resize(int(entry.size));
    qint64 done = 0;
    char extra = 0;
    while (true) {
        char* at = done < entry.size ? data.data() + done : &extra;
        const zip_int64_t got =
            zip_fread(file.get(), at, zip_uint64_t(done < entry.size ? entry.size - done : 1));
        if (got < 0)
            throw Error(QStringLiteral("%1: %2: %3")
                            .arg(m_path, name, QString::fromUtf8(zip_file_strerror(file.get()))));
        if (got == 0)
            break;
        done += got;
        if (done > entry.size)
            throw Error(QStringLiteral("%1: %2: more data than its size").arg(m_path, name));
    }
    if (done != entry.size)
        throw Error(QStringLiteral("%1: %2: cut short").arg(m_path, name));
    return data;
}

void PackageArchive::copyTo(const QString& name, const QString& target, bool replace) const {
    const qint64 index = indexOf(name);
    if (index < 0)
        throw Error(QStringLiteral("%1: %2 is missing").arg(m_path, name));
    const Bundle::Zip::Entry& entry = m_entries[size_t(index)];
    if (entry.size > m_limits.maxEntryBytes)
        throw Error(QStringLiteral("%1: %2: %3 bytes, more than the limit of %4")
                        .arg(m_path, name)
                        .arg(entry.size)
                        .arg(m_limits.maxEntryBytes));
    std::unique_ptr<zip_file_t, CloseFile> file(
        zip_fopen_index(m_archive.get(), zip_uint64_t(index), 0));
    if (!file)
        throw Error(QStringLiteral("%1: %2: %3")
                        .arg(m_path, name, QString::fromUtf8(zip_strerror(m_archive.get()))));
    FS::AtomicFile out(target, QStringLiteral("extract"));
    QByteArray chunk(int(kChunk), Qt::Uninitialized);
    qint64 done = 0;
    while (true) {
        const zip_int64_t got = zip_fread(file.get(), chunk.data(), zip_uint64_t(chunk.size()));
        if (got < 0)
            throw Error(QStringLiteral("%1: %2: %3")
                            .arg(m_path, name, QString::fromUtf8(zip_file_strerror(file.get()))));
        if (got == 0)
            break;
        done += got;
        // The declared size bounds what is written, whatever the data says.
        if (done > entry.size)
            throw Error(QStringLiteral("%1: %2: more data than its size").arg(m_path, name));
        out.append(chunk.constData(), got);
    }
    if (done != entry.size)
        throw Error(QStringLiteral("%1: %2: cut short").arg(m_path, name));
    out.commit(replace);
}

}  // namespace Cli
