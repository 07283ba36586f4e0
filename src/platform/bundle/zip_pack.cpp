#include "platform/bundle/zip.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <zip.h>

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <exception>
#include <memory>
#include <thread>

#include "platform/bundle/zip_deflate_queue.h"
#include "platform/bundle/zip_file_source.h"
#include "platform/bundle/zip_packer.h"
#include "platform/bundle/zip_support.h"
#include "platform/fs/env.h"
#include "platform/fs/temporary_paths.h"
#include "platform/model/build_clock.h"

namespace Bundle::Zip {
using namespace detail;
namespace {

// Media formats compress themselves; deflating them again costs time and saves nothing.
constexpr const char* kStoredExtensions[] = {
    "mp4", "mov", "m4v", "webm", "mkv",  "avi",  "png", "jpg",    "jpeg",  "gif", "webp",
    "mp3", "m4a", "aac", "ogg",  "opus", "flac", "zip", "bundle", "qpack", "gz",  "7z"};

// zlib's own default: the level other zip tools use, far faster than libzip's default of 9.
constexpr zip_uint32_t kDeflateLevel = 6;

// Bytes of text files read ahead of the writer, per deflating thread.
constexpr qint64 kReadAheadPerThread = 4 * 1024 * 1024;

int threadCount(const PackOptions& options) {
    if (options.threads > 0)
        return options.threads;
    return int(std::max(1u, std::thread::hardware_concurrency()));
}

// A text file, deflated on the workers.
bool deflatedAhead(const Item& item) {
    return !item.isDir && !isStoredByName(QString::fromUtf8(item.name));
}

// Lists the tree below `root` without following links; `skip` is the package itself, if present.
void collect(const Packer& packer, const QByteArray& root, const QByteArray& relative,
             const struct stat* skip, std::vector<Item>& items) {
    const QByteArray dirPath = relative.isEmpty() ? root : root + '/' + relative;
    DIR* dir = ::opendir(dirPath.constData());
    if (!dir)
        packer.fail(
            QStringLiteral("cannot read folder %1: %2")
                .arg(quoted(relative.isEmpty() ? QByteArray(".") : relative), systemError(errno)));
    std::unique_ptr<DIR, int (*)(DIR*)> closer(dir, ::closedir);
    std::vector<QByteArray> subfolders;
    while (true) {
        errno = 0;
        const dirent* entry = ::readdir(dir);
        if (!entry) {
            if (errno != 0)
                packer.fail(QStringLiteral("cannot read folder %1: %2")
                                .arg(quoted(relative), systemError(errno)));
            break;
        }
        const QByteArray name(entry->d_name);
        if (name == "." || name == "..")
            continue;
        const QByteArray childName = relative.isEmpty() ? name : relative + '/' + name;
        struct stat st;
        if (::fstatat(::dirfd(dir), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
            if (errno == ENOENT)
                continue;  // removed while we were listing
            packer.fail(
                QStringLiteral("cannot read %1: %2").arg(quoted(childName), systemError(errno)));
        }
        Item item;
        item.path = dirPath + '/' + name;
        item.mode = st.st_mode & 07777;
        item.mtime = st.st_mtime;
        if (S_ISDIR(st.st_mode)) {
            item.name = childName + '/';
            item.isDir = true;
            subfolders.push_back(childName);
        } else if (S_ISREG(st.st_mode)) {
            if (skip && st.st_dev == skip->st_dev && st.st_ino == skip->st_ino)
                continue;
            item.name = childName;
            item.size = st.st_size;
        } else {
            continue;  // links, sockets, pipes and devices have no place in a package
        }
        const QString problem = nameProblem(item.name);
        if (!problem.isEmpty())
            packer.fail(QStringLiteral("the name of %1 %2").arg(quoted(item.name), problem));
        items.push_back(std::move(item));
    }
    closer.reset();
    for (const QByteArray& sub : subfolders)
        collect(packer, root, sub, skip, items);
}

// Gives every entry the same time and permission bits. A zip holds local time (libzip converts
// with localtime), so the time is the one whose local fields read as the fixed time's UTC ones:
// where TZ is UTC, the fixed time itself.
void stampAll(qint64 fixedTime, std::vector<Item>& items) {
    constexpr qint64 kFirst = 315532800;  // 1980-01-01 00:00:00 UTC, the first time a zip holds
    constexpr qint64 kLast = 4354819198;  // 2107-12-31 23:59:58 UTC, the last one
    const time_t utc = time_t(std::clamp(fixedTime, kFirst, kLast));
    struct tm fields;
    ::gmtime_r(&utc, &fields);
    fields.tm_isdst = -1;
    const time_t local = ::mktime(&fields);
    for (Item& item : items) {
        item.mtime = local;
        item.mode = item.isDir ? 0755 : 0644;
    }
}

// libzip removes an archive that ends up with no entries instead of writing one.
void writeEmptyArchive(const QString& packagePath) {
    static const char kEndOfCentralDirectory[22] = {0x50, 0x4b, 0x05, 0x06};
    FS::writeFileAtomically(packagePath, QByteArray::fromRawData(kEndOfCentralDirectory,
                                                                 sizeof kEndOfCentralDirectory));
}

void packInPlace(const QString& path, const PackOptions& options) {
    const QString target = QDir::cleanPath(path);
    const QString packed = FS::temporarySibling(target, QStringLiteral("packed"));
    const FS::TemporaryPath packedRegistration(packed);
    try {
        compressAll(packed, path, options);  // leaves nothing behind on failure
    } catch (const FS::Error& error) {
        throw FS::Error(error.action(), path, error.code());  // the user knows no temporary
    }
    const QString aside = FS::temporarySibling(target, QStringLiteral("aside"));
    const FS::TemporaryPath asideRegistration(aside);
    FS::Env& env = FS::Env::current();
    if (const int code = env.rename(target, aside)) {
        FS::removeAllAt(packed);
        throw FS::Error(QStringLiteral("move aside the folder"), path, code);
    }
    if (const int code = env.rename(packed, target)) {
        env.rename(aside, target);
        FS::removeAllAt(packed);
        throw FS::Error(QStringLiteral("put the package in place of the folder"), path, code);
    }
    const int slash = target.lastIndexOf(QLatin1Char('/'));
    const QString parent = slash > 0 ? target.left(slash) : slash == 0 ? "/" : ".";
    if (const int code = env.syncFolder(parent)) {
        // Not known to last: undone, so that a failure always leaves the folder.
        env.rename(target, packed);
        env.rename(aside, target);
        FS::removeAllAt(packed);
        throw FS::Error(QStringLiteral("sync the folder of"), path, code);
    }
    FS::removeAllAt(aside);
}

}  // namespace

bool isStoredByName(const QString& fileName) {
    const int dot = fileName.lastIndexOf(QLatin1Char('.'));
    const int slash = fileName.lastIndexOf(QLatin1Char('/'));
    if (dot < 0 || dot < slash)
        return false;
    const QString extension = fileName.mid(dot + 1).toLower();
    return std::any_of(std::begin(kStoredExtensions), std::end(kStoredExtensions),
                       [&](const char* stored) { return extension == QLatin1String(stored); });
}

void compressAll(const QString& packagePath, const QString& folder, const PackOptions& options) {
    if (!packagePath.isEmpty() && !folder.isEmpty() &&
        isSameFolder(QFile::encodeName(packagePath), QFile::encodeName(folder)))
        return packInPlace(packagePath, options);
    Packer packer(packagePath, folder, options);
    if (packagePath.isEmpty())
        packer.fail(QStringLiteral("no package path given"));
    const QByteArray root = QFile::encodeName(folder);
    const QByteArray package = QFile::encodeName(packagePath);
    struct stat st;
    if (folder.isEmpty() || ::stat(root.constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        packer.fail(QStringLiteral("no such folder"));
    struct stat existing;
    const bool packageExists = ::stat(package.constData(), &existing) == 0;
    if (packageExists && !S_ISREG(existing.st_mode))
        packer.fail(QStringLiteral("something other than a file is in the way"));

    std::vector<Item> items;
    collect(packer, root, QByteArray(), packageExists ? &existing : nullptr, items);
    std::sort(items.begin(), items.end(),
              [](const Item& a, const Item& b) { return a.name < b.name; });
    if (const std::optional<qint64> fixedTime = BuildClock::fixedTime())
        stampAll(*fixedTime, items);
    qint64 total = 0;
    for (const Item& item : items)
        total += item.isDir ? 0 : item.size + 1;
    packer.setTotal(total);
    if (!packer.report(0.0))
        packer.raise(QString());

    if (items.empty()) {
        writeEmptyArchive(packagePath);
        packer.report(1.0);
        return;
    }

    // Text files are deflated on every core ahead of the writer, which takes them in entry order.
    std::vector<DeflateQueue::File> texts;
    for (const Item& item : items) {
        if (deflatedAhead(item))
            texts.push_back({item.name, item.path, item.size});
    }
    const int threads = threadCount(options);
    DeflateQueue queue(std::move(texts), threads, int(kDeflateLevel),
                       std::max<qint64>(kReadAheadPerThread * threads, DeflateQueue::kMaxFileSize));

    // Declared after the queue and before the archive, which calls them until it is discarded.
    std::vector<std::unique_ptr<FileSource>> sources;
    std::vector<std::unique_ptr<DeflatedSource>> deflated;
    ArchiveTarget target(packagePath);
    int code = ZIP_ER_OK;
    Archive archive(target.open(&code));
    if (!archive)
        packer.fail(zipError(code));
    zip_t* za = archive.get();
    const auto zipFailure = [&](const Item& item) {
        packer.fail(QStringLiteral("cannot add %1: %2")
                        .arg(quoted(item.name), QString::fromUtf8(zip_strerror(za))));
    };

    for (const Item& item : items) {
        zip_int64_t index;
        if (item.isDir) {
            index = zip_dir_add(za, item.name.constData(), ZIP_FL_ENC_UTF_8);
            if (index < 0 || zip_file_set_mtime(za, zip_uint64_t(index), item.mtime, 0) != 0)
                zipFailure(item);
        } else {
            const bool ahead = deflatedAhead(item);
            zip_source_t* source;
            if (ahead) {
                deflated.push_back(
                    std::make_unique<DeflatedSource>(packer, item, queue, deflated.size()));
                source = zip_source_function(za, DeflatedSource::callback, deflated.back().get());
            } else {
                sources.push_back(std::make_unique<FileSource>(packer, item));
                source = zip_source_function(za, FileSource::callback, sources.back().get());
            }
            if (!source)
                zipFailure(item);
            index = zip_file_add(za, item.name.constData(), source, ZIP_FL_ENC_UTF_8);
            if (index < 0) {
                zip_source_free(source);
                zipFailure(item);
            }
            // Data deflated ahead keeps libzip's default method, which takes the source's own.
            const bool stored = isStoredByName(QString::fromUtf8(item.name));
            if (!ahead && zip_set_file_compression(za, zip_uint64_t(index),
                                                   stored ? ZIP_CM_STORE : ZIP_CM_DEFLATE,
                                                   stored ? 0 : kDeflateLevel) != 0)
                zipFailure(item);
        }
        // Folders keep owner access so that whoever unpacks can write into them.
        const quint32 mode = item.isDir ? (kTypeDir | item.mode | 0700) : (kTypeFile | item.mode);
        if (zip_file_set_external_attributes(za, zip_uint64_t(index), 0, ZIP_OPSYS_UNIX,
                                             mode << 16) != 0)
            zipFailure(item);
    }

    if (zip_close(za) != 0) {
        if (target.failure())
            std::rethrow_exception(target.failure());
        packer.raise(QString::fromUtf8(zip_strerror(za)));
    }
    archive.release();
    if (packer.reported() < 1.0)
        packer.report(1.0);
}

}  // namespace Bundle::Zip
