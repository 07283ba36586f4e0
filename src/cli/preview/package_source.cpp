#include "cli/preview/package_source.h"

#include <sys/stat.h>
#include <zip.h>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <memory>

#include "cli/preview/archive_entry_device.h"
#include "platform/bundle/bundle_error.h"
#include "platform/bundle/package_reader.h"
#include "platform/bundle/unpack_meter.h"
#include "platform/fs/atomic_file.h"

namespace Cli::Preview {

class UnpackState {
public:
    UnpackState(const Bundle::ReadLimits& limits, qint64 archiveBytes)
        : meter(limits, archiveBytes) {}
    Bundle::Zip::UnpackMeter meter;
};

namespace {

[[noreturn]] void fail(const QString& package, const QString& entry, const QString& what) {
    const QString place = entry.isEmpty() ? package : QStringLiteral("%1: %2").arg(package, entry);
    throw Bundle::Error(QStringLiteral("%1: %2").arg(place, what).toStdString());
}

// Whether the entry's Unix mode, when it has one, is that of a link or a special file.
bool isSpecial(zip_t* archive, zip_uint64_t index) {
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    if (zip_file_get_external_attributes(archive, index, 0, &system, &attributes) != 0 ||
        system != ZIP_OPSYS_UNIX)
        return false;
    const mode_t mode = mode_t(attributes >> 16);
    return mode != 0 && !S_ISREG(mode) && !S_ISDIR(mode);
}

}  // namespace

PackageSource::PackageSource(const QString& packagePath, const QString& folder,
                             const Bundle::ReadLimits& limits)
    : m_packagePath(packagePath), m_root(QDir(folder).absolutePath()) {
    int code = ZIP_ER_OK;
    m_archive = zip_open(QFile::encodeName(packagePath).constData(), ZIP_RDONLY, &code);
    if (!m_archive) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        const QString reason = QString::fromUtf8(zip_error_strerror(&error));
        zip_error_fini(&error);
        fail(packagePath, QString(), QStringLiteral("is not a readable package: %1").arg(reason));
    }
    const zip_int64_t count = zip_get_num_entries(m_archive, 0);
    if (count > limits.maxEntries)
        fail(packagePath, QString(),
             QStringLiteral("it has %1 entries, more than the limit of %2")
                 .arg(count)
                 .arg(limits.maxEntries));
    UnpackState state(limits, QFileInfo(packagePath).size());
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t st;
        if (zip_stat_index(m_archive, zip_uint64_t(i), 0, &st) != 0 || !(st.valid & ZIP_STAT_NAME))
            fail(packagePath, QStringLiteral("entry #%1").arg(i),
                 QStringLiteral("cannot be read: %1")
                     .arg(QString::fromUtf8(zip_strerror(m_archive))));
        const QString name = QString::fromUtf8(st.name);
        const QString target = Bundle::addOnFolder(m_root, name);
        if (target.isEmpty() || target == m_root)
            fail(packagePath, name, QStringLiteral("the entry's name leaves the package"));
        if (name.endsWith(QLatin1Char('/')) || isSpecial(m_archive, zip_uint64_t(i)))
            continue;
        const QString entryName = entryOf(target);
        if (m_entries.count(entryName))
            fail(packagePath, name, QStringLiteral("the package holds this entry twice"));
        Entry entry;
        entry.index = i;
        entry.size = qint64(st.size);
        // Only resources: the readers of stored items and of the description want real files.
        entry.kept = entryName.startsWith(QLatin1String("resources/")) &&
                     st.comp_method == ZIP_CM_STORE && entry.size > kKeptBytes;
        if (entry.kept || unpack(entryName, entry, qint64(st.comp_size), state))
            m_entries[entryName] = entry;
        else
            m_damaged << name;
    }
}

PackageSource::~PackageSource() {
    if (m_archive)
        zip_discard(m_archive);
}

bool PackageSource::unpack(const QString& name, const Entry& entry, qint64 compressed,
                           UnpackState& state) {
    const QString reason = state.meter.declare(entry.size, compressed);
    if (!reason.isEmpty())
        fail(m_packagePath, name, reason);
    const QString target = m_root + QLatin1Char('/') + name;
    if (!QDir().mkpath(QFileInfo(target).absolutePath()))
        fail(m_packagePath, name, QStringLiteral("cannot make its folder"));
    std::unique_ptr<ArchiveEntryDevice> device;
    try {
        device = std::make_unique<ArchiveEntryDevice>(m_archive, entry.index, entry.size, name);
    } catch (const Bundle::Error&) {
        return false;  // encrypted, or a compression libzip does not know
    }
    FS::AtomicFile file(target, QStringLiteral("preview"));
    state.meter.startEntry(compressed);
    char buffer[1 << 16];
    for (;;) {
        const qint64 read = device->read(buffer, sizeof buffer);
        if (read < 0) {
            file.discard();
            return false;
        }
        if (read == 0)
            break;
        const QString over = state.meter.add(read);
        if (!over.isEmpty())
            fail(m_packagePath, name, over);
        file.append(buffer, read);
    }
    // A scratch copy for this run only: no need to sync the folder.
    file.commit(true, false);
    return true;
}

qint64 PackageSource::size(const QString& entry) const {
    const auto it = m_entries.find(QDir::cleanPath(entry));
    return it == m_entries.end() ? -1 : it->second.size;
}

std::unique_ptr<QIODevice> PackageSource::open(const QString& entry) const {
    const QString name = QDir::cleanPath(entry);
    const auto it = m_entries.find(name);
    if (it == m_entries.end())
        return nullptr;
    if (it->second.kept)
        return std::make_unique<ArchiveEntryDevice>(m_archive, it->second.index, it->second.size,
                                                    name);
    auto file = std::make_unique<QFile>(m_root + QLatin1Char('/') + name);
    if (!file->open(QIODevice::ReadOnly))
        return nullptr;
    return file;
}

QString PackageSource::entryOf(const QString& path) const {
    const QString clean = QDir::cleanPath(QDir(m_root).absoluteFilePath(path));
    if (!clean.startsWith(m_root + QLatin1Char('/')))
        return QString();
    return clean.mid(m_root.size() + 1);
}

}  // namespace Cli::Preview
