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
#include <exception>
#include <memory>

#include "platform/bundle/zip_support.h"
#include "platform/fs/env.h"
#include "platform/fs/temporary_paths.h"

namespace Bundle::Zip {
using namespace detail;
namespace {

// Media formats compress themselves; deflating them again costs time and saves nothing.
constexpr const char* kStoredExtensions[] = {
    "mp4", "mov", "m4v", "webm", "mkv",  "avi",  "png", "jpg",    "jpeg",  "gif", "webp",
    "mp3", "m4a", "aac", "ogg",  "opus", "flac", "zip", "bundle", "qpack", "gz",  "7z"};

// zlib's own default: the level other zip tools use, far faster than libzip's default of 9.
constexpr zip_uint32_t kDeflateLevel = 6;

// ---- packing --------------------------------------------------------------------------------

struct Item {
    QByteArray name;  // entry name; folders end in "/"
    QByteArray path;  // native path of the file
    bool isDir = false;
    quint32 mode = 0;
    time_t mtime = 0;
    qint64 size = 0;
};

class Packer {
public:
    Packer(const QString& package, const QString& folder, const PackOptions& options)
        : package_(package), folder_(folder), progress_(options.progress) {}

    [[noreturn]] void fail(const QString& reason) const {
        throwError(QStringLiteral("Cannot pack %1 into %2: %3")
                       .arg(quoted(folder_), quoted(package_), reason));
    }

    void setTotal(qint64 total) { total_ = std::max<qint64>(total, 1); }

    // Adds work done and reports it; false when the caller asked to stop.
    bool advance(qint64 amount) {
        done_ += amount;
        const double fraction = std::min(1.0, double(done_) / double(total_));
        if (fraction < 1.0 && fraction - reported_ < 0.001)
            return true;
        return report(fraction);
    }

    bool report(double fraction) {
        if (cancelled_)
            return false;
        reported_ = fraction;
        if (!progress_)
            return true;
        try {
            cancelled_ = !progress_(fraction);
        } catch (...) {
            thrown_ = std::current_exception();
            cancelled_ = true;
        }
        return !cancelled_;
    }

    void noteFailure(const QString& reason) {
        if (failure_.isEmpty())
            failure_ = reason;
    }

    // Throws whatever stopped the pack: the caller's own exception, a cancel, a file that could
    // not be read, or else libzip's account.
    [[noreturn]] void raise(const QString& fallback) const {
        if (thrown_)
            std::rethrow_exception(thrown_);
        if (cancelled_)
            fail(QStringLiteral("cancelled"));
        fail(failure_.isEmpty() ? fallback : failure_);
    }

    double reported() const { return reported_; }

private:
    QString package_;
    QString folder_;
    std::function<bool(double)> progress_;
    qint64 total_ = 1;
    qint64 done_ = 0;
    double reported_ = -1.0;
    bool cancelled_ = false;
    std::exception_ptr thrown_;
    QString failure_;
};

// A file that libzip pulls through while it writes the archive. Opened only then, so at most
// one is open at a time and nothing is held in memory beyond libzip's buffer. It refuses a file
// that changed since it was listed, since the package would not match what was checked.
class FileSource {
public:
    FileSource(Packer& packer, const Item& item) : packer_(packer), item_(item) {
        zip_error_init(&error_);
    }
    ~FileSource() {
        closeFile();
        zip_error_fini(&error_);
    }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    static zip_int64_t callback(void* self, void* data, zip_uint64_t length, zip_source_cmd_t cmd) {
        return static_cast<FileSource*>(self)->handle(data, length, cmd);
    }

private:
    zip_int64_t handle(void* data, zip_uint64_t length, zip_source_cmd_t cmd) {
        switch (cmd) {
            case ZIP_SOURCE_OPEN:
                return open();
            case ZIP_SOURCE_READ:
                return read(static_cast<char*>(data), length);
            case ZIP_SOURCE_CLOSE:
            case ZIP_SOURCE_FREE:
                closeFile();
                return 0;
            case ZIP_SOURCE_STAT: {
                zip_stat_t* st = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &error_);
                if (!st)
                    return -1;
                zip_stat_init(st);
                st->valid = ZIP_STAT_SIZE | ZIP_STAT_MTIME;
                st->size = zip_uint64_t(item_.size);
                st->mtime = item_.mtime;
                return sizeof(zip_stat_t);
            }
            case ZIP_SOURCE_ERROR:
                return zip_error_to_data(&error_, data, length);
            case ZIP_SOURCE_SUPPORTS:
                return ZIP_SOURCE_SUPPORTS_READABLE;
            default:
                zip_error_set(&error_, ZIP_ER_OPNOTSUPP, 0);
                return -1;
        }
    }

    zip_int64_t open() {
        fd_ = ::open(item_.path.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
        if (fd_ < 0)
            return failWith(
                ZIP_ER_OPEN, errno,
                QStringLiteral("cannot open %1: %2").arg(quoted(item_.name), systemError(errno)));
        struct stat st;
        if (::fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size != item_.size)
            return failWith(ZIP_ER_CHANGED, 0,
                            QStringLiteral("%1 changed while packing").arg(quoted(item_.name)));
#ifdef POSIX_FADV_SEQUENTIAL
        ::posix_fadvise(fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
        read_ = 0;
        return 0;
    }

    zip_int64_t read(char* data, zip_uint64_t length) {
        ssize_t n;
        do {
            n = ::read(fd_, data, size_t(std::min<zip_uint64_t>(length, SSIZE_MAX)));
        } while (n < 0 && errno == EINTR);
        if (n < 0)
            return failWith(
                ZIP_ER_READ, errno,
                QStringLiteral("cannot read %1: %2").arg(quoted(item_.name), systemError(errno)));
        read_ += n;
        if (read_ > item_.size || (n == 0 && read_ != item_.size))
            return failWith(ZIP_ER_CHANGED, 0,
                            QStringLiteral("%1 changed while packing").arg(quoted(item_.name)));
        // Each file counts one unit besides its bytes, so empty files move the progress too.
        if (!packer_.advance(n == 0 ? 1 : n)) {
            zip_error_set(&error_, ZIP_ER_CANCELLED, 0);
            return -1;
        }
        return n;
    }

    zip_int64_t failWith(int zipCode, int systemCode, const QString& reason) {
        packer_.noteFailure(reason);
        zip_error_set(&error_, zipCode, systemCode);
        return -1;
    }

    void closeFile() {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

    Packer& packer_;
    Item item_;
    zip_error_t error_;
    int fd_ = -1;
    qint64 read_ = 0;
};

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

    // Declared first so that they outlive the archive, which calls them until it is discarded.
    std::vector<std::unique_ptr<FileSource>> sources;
    sources.reserve(items.size());
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
            sources.push_back(std::make_unique<FileSource>(packer, item));
            zip_source_t* source =
                zip_source_function(za, FileSource::callback, sources.back().get());
            if (!source)
                zipFailure(item);
            index = zip_file_add(za, item.name.constData(), source, ZIP_FL_ENC_UTF_8);
            if (index < 0) {
                zip_source_free(source);
                zipFailure(item);
            }
            const bool stored = isStoredByName(QString::fromUtf8(item.name));
            if (zip_set_file_compression(za, zip_uint64_t(index),
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
