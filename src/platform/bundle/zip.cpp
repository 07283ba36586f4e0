#include "platform/bundle/zip.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSaveFile>

#include <zip.h>

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <set>

namespace Bundle::Zip {
namespace {

// Unix file types as zip external attributes carry them (upper 16 bits), independent of the host.
constexpr quint32 kTypeMask = 0170000;
constexpr quint32 kTypeLink = 0120000;
constexpr quint32 kTypeFile = 0100000;
constexpr quint32 kTypeDir = 0040000;

// Media formats compress themselves; deflating them again costs time and saves nothing.
constexpr const char* kStoredExtensions[] = {
    "mp4", "mov", "m4v", "webm", "mkv",  "avi",  "png", "jpg",    "jpeg",  "gif", "webp",
    "mp3", "m4a", "aac", "ogg",  "opus", "flac", "zip", "bundle", "qpack", "gz",  "7z"};

// zlib's own default: the level other zip tools use, far faster than libzip's default of 9.
constexpr zip_uint32_t kDeflateLevel = 6;

constexpr qint64 kChunk = 256 * 1024;
constexpr qint64 kRatioFloor = qint64(1) << 20;

[[noreturn]] void throwError(const QString& message) {
    throw Error(message.toStdString());
}

// Names come from files and archives we do not control; keep every message on one line.
QString quoted(const QString& text) {
    QString out = text;
    for (QChar& c : out) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            c = QLatin1Char('?');
    }
    return QLatin1Char('\'') + out + QLatin1Char('\'');
}

QString quoted(const QByteArray& utf8) {
    return quoted(QString::fromUtf8(utf8));
}

QString systemError(int code) {
    return QString::fromLocal8Bit(std::strerror(code));
}

QString zipError(int code) {
    zip_error_t error;
    zip_error_init_with_code(&error, code);
    const QString text = QString::fromUtf8(zip_error_strerror(&error));
    zip_error_fini(&error);
    return text;
}

struct Discard {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
using Archive = std::unique_ptr<zip_t, Discard>;

struct CloseFd {
    int fd = -1;
    ~CloseFd() {
        if (fd >= 0)
            ::close(fd);
    }
};

bool writeAll(int fd, const char* data, qint64 size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size_t(size));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        size -= n;
    }
    return true;
}

// Why an entry name is unsafe to write below a folder (or unportable), or empty when it is fine.
// A trailing "/" marks a folder and is allowed. A NUL cannot get here: libzip hands names over
// as C strings and turns a NUL inside a stored name into a space, so the name we check is the
// name we write.
QString nameProblem(const QByteArray& name) {
    if (name.isEmpty())
        return QStringLiteral("has an empty name");
    if (QString::fromUtf8(name).toUtf8() != name)
        return QStringLiteral("is not valid UTF-8");
    if (name.startsWith('/'))
        return QStringLiteral("is an absolute path");
    if (name.contains('\\'))
        return QStringLiteral("holds a backslash");
    if (name.size() >= 2 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0])))
        return QStringLiteral("starts with a drive letter");
    const QByteArray path = name.endsWith('/') ? name.chopped(1) : name;
    for (const QByteArray& part : path.split('/')) {
        if (part.isEmpty())
            return QStringLiteral("has an empty path component");
        if (part == ".")
            return QStringLiteral("has a '.' component");
        if (part == "..")
            return QStringLiteral("has a '..' component");
    }
    return {};
}

Archive openForReading(const QString& archivePath, const QString& what) {
    const QByteArray native = QFile::encodeName(archivePath);
    struct stat st;
    if (::stat(native.constData(), &st) != 0)
        throwError(
            QStringLiteral("Cannot %1 %2: %3").arg(what, quoted(archivePath), systemError(errno)));
    if (!S_ISREG(st.st_mode))
        throwError(QStringLiteral("Cannot %1 %2: not a file").arg(what, quoted(archivePath)));
    // libzip takes an empty file for an empty archive; nothing that writes zips leaves one.
    if (st.st_size == 0)
        throwError(QStringLiteral("Cannot %1 %2: empty file, not a zip archive")
                       .arg(what, quoted(archivePath)));
    int code = ZIP_ER_OK;
    zip_t* archive = zip_open(native.constData(), ZIP_RDONLY, &code);
    if (!archive) {
        const QString reason =
            code == ZIP_ER_NOZIP ? QStringLiteral("not a zip archive") : zipError(code);
        throwError(QStringLiteral("Cannot %1 %2: %3").arg(what, quoted(archivePath), reason));
    }
    return Archive(archive);
}

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
void writeEmptyArchive(const Packer& packer, const QString& packagePath) {
    static const char kEndOfCentralDirectory[22] = {0x50, 0x4b, 0x05, 0x06};
    QSaveFile file(packagePath);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(kEndOfCentralDirectory, sizeof kEndOfCentralDirectory) !=
            qint64(sizeof kEndOfCentralDirectory) ||
        !file.commit())
        packer.fail(file.errorString());
}

// ---- reading --------------------------------------------------------------------------------

struct Scanned {
    zip_uint64_t index = 0;
    QByteArray name;
    bool isDir = false;
    zip_stat_t stat;
};

Problem entryProblem(const QByteArray& name, const QString& reason) {
    return {QString::fromUtf8(name), QStringLiteral("entry %1 %2").arg(quoted(name), reason)};
}

// Reads the entry table and appends one line per unsafe entry to `problems`: bad names, links
// and special files, encryption, duplicates, and a file where another entry needs a folder.
std::vector<Scanned> scan(zip_t* archive, std::vector<Problem>& problems) {
    const zip_int64_t count = zip_get_num_entries(archive, 0);
    std::vector<Scanned> entries;
    entries.reserve(size_t(std::max<zip_int64_t>(count, 0)));
    std::set<QByteArray> files, folders, explicitFolders;
    for (zip_int64_t i = 0; i < count; ++i) {
        Scanned entry;
        entry.index = zip_uint64_t(i);
        if (zip_stat_index(archive, entry.index, 0, &entry.stat) != 0 ||
            !(entry.stat.valid & ZIP_STAT_NAME)) {
            problems.push_back({QString(), QStringLiteral("entry #%1 cannot be read: %2")
                                               .arg(i)
                                               .arg(QString::fromUtf8(zip_strerror(archive)))});
            continue;
        }
        entry.name = QByteArray(entry.stat.name);
        entry.isDir = entry.name.endsWith('/');
        const auto report = [&](const QString& reason) {
            problems.push_back(entryProblem(entry.name, reason));
        };

        const QString nameIssue = nameProblem(entry.name);
        if (!nameIssue.isEmpty()) {
            report(nameIssue);
            continue;
        }
        zip_uint8_t system = 0;
        zip_uint32_t attributes = 0;
        if (zip_file_get_external_attributes(archive, entry.index, 0, &system, &attributes) == 0 &&
            system == ZIP_OPSYS_UNIX) {
            const quint32 type = (attributes >> 16) & kTypeMask;
            if (type == kTypeLink) {
                report(QStringLiteral("is a symbolic link"));
                continue;
            }
            if (type != 0 && type != kTypeFile && type != kTypeDir) {
                report(QStringLiteral("is a special file"));
                continue;
            }
            // Other tools would make a folder of it, we a file: refuse the ambiguity.
            if (type == kTypeDir && !entry.isDir) {
                report(QStringLiteral("is a folder whose name does not end in '/'"));
                continue;
            }
        }
        if (entry.stat.encryption_method != ZIP_EM_NONE) {
            report(QStringLiteral("is encrypted"));
            continue;
        }
        if (entry.isDir && entry.stat.size > 0) {
            report(QStringLiteral("is a folder that holds data"));
            continue;
        }

        const QByteArray path = entry.isDir ? entry.name.chopped(1) : entry.name;
        bool clash = false;
        for (int slash = path.indexOf('/'); slash >= 0; slash = path.indexOf('/', slash + 1)) {
            const QByteArray parent = path.left(slash);
            if (files.count(parent)) {
                report(QStringLiteral("lies below %1, which is a file").arg(quoted(parent)));
                clash = true;
                break;
            }
            folders.insert(parent);
        }
        if (clash)
            continue;
        if (entry.isDir) {
            if (files.count(path)) {
                report(QStringLiteral("is a folder and a file of the same name"));
                continue;
            }
            if (!explicitFolders.insert(path).second) {
                report(QStringLiteral("appears twice"));
                continue;
            }
            folders.insert(path);
        } else {
            if (folders.count(path)) {
                report(QStringLiteral("is a file and a folder of the same name"));
                continue;
            }
            if (!files.insert(path).second) {
                report(QStringLiteral("appears twice"));
                continue;
            }
        }
        entries.push_back(std::move(entry));
    }
    return entries;
}

// Creates the folders of a validated relative path below `root`, which we made and own.
bool makeFolders(const QByteArray& root, const QByteArray& relative) {
    QByteArray path = root;
    for (const QByteArray& part : relative.split('/')) {
        if (part.isEmpty())
            continue;
        path += '/' + part;
        if (::mkdir(path.constData(), 0777) != 0) {
            struct stat st;
            if (errno != EEXIST || ::lstat(path.constData(), &st) != 0 || !S_ISDIR(st.st_mode))
                return false;
        }
    }
    return true;
}

int removeOne(const char* path, const struct stat*, int, struct FTW*) {
    return ::remove(path);
}

void removeTree(const QByteArray& path) {
    ::nftw(path.constData(), removeOne, 16, FTW_DEPTH | FTW_PHYS);
}

// The unpacking in progress: a private folder beside the target, removed unless committed.
class Staging {
public:
    ~Staging() {
        if (!path_.isEmpty())
            removeTree(path_);
        for (auto it = createdParents_.rbegin(); it != createdParents_.rend(); ++it)
            ::rmdir(it->constData());
    }

    // Creates the target's missing parents and the staging folder; returns an error or "".
    QString create(const QByteArray& target) {
        const int slash = target.lastIndexOf('/');
        const QByteArray parent = slash > 0 ? target.left(slash) : slash == 0 ? "/" : ".";
        const QByteArray base = target.mid(slash + 1);
        QByteArrayList missing;
        for (QByteArray p = parent; !p.isEmpty() && p != "/" && p != "." && !exists(p);) {
            missing.prepend(p);
            const int cut = p.lastIndexOf('/');
            p = cut > 0 ? p.left(cut) : QByteArray();
        }
        for (const QByteArray& p : missing) {
            if (::mkdir(p.constData(), 0777) != 0)
                return QStringLiteral("cannot create folder %1: %2")
                    .arg(quoted(QFile::decodeName(p)), systemError(errno));
            createdParents_.push_back(p);
        }
        for (int attempt = 0; attempt < 100; ++attempt) {
            const QByteArray candidate =
                parent + "/." + base + ".unpack-" +
                QByteArray::number(QRandomGenerator::global()->generate(), 36);
            if (::mkdir(candidate.constData(), 0777) == 0) {
                path_ = candidate;
                return {};
            }
            if (errno != EEXIST)
                return QStringLiteral("cannot create a folder beside it: %1")
                    .arg(systemError(errno));
        }
        return QStringLiteral("cannot create a folder beside it");
    }

    const QByteArray& path() const { return path_; }

    // Moves the staged tree onto the target; an empty folder there is replaced.
    bool commit(const QByteArray& target) {
        if (::rename(path_.constData(), target.constData()) != 0)
            return false;
        path_.clear();
        createdParents_.clear();
        return true;
    }

private:
    static bool exists(const QByteArray& path) {
        struct stat st;
        return ::lstat(path.constData(), &st) == 0;
    }

    QByteArray path_;
    QByteArrayList createdParents_;
};

bool isEmptyFolder(const QByteArray& path) {
    DIR* dir = ::opendir(path.constData());
    if (!dir)
        return false;
    bool empty = true;
    while (const dirent* entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            empty = false;
            break;
        }
    }
    ::closedir(dir);
    return empty;
}

// A free name beside `target` for a temporary of the given kind: "<parent>/.<base><kind><random>".
QByteArray freeSibling(const QByteArray& target, const char* kind) {
    const int slash = target.lastIndexOf('/');
    const QByteArray parent = slash > 0 ? target.left(slash) : slash == 0 ? "/" : ".";
    const QByteArray base = target.mid(slash + 1);
    for (;;) {
        const QByteArray candidate = parent + "/." + base + kind +
                                     QByteArray::number(QRandomGenerator::global()->generate(), 36);
        struct stat st;
        if (::lstat(candidate.constData(), &st) != 0)
            return candidate;
    }
}

bool isSameFolder(const QByteArray& a, const QByteArray& b) {
    struct stat x, y;
    return ::stat(a.constData(), &x) == 0 && ::stat(b.constData(), &y) == 0 && S_ISDIR(x.st_mode) &&
           x.st_dev == y.st_dev && x.st_ino == y.st_ino;
}

// Packs a folder into a file of its own path. The package is written beside the folder, the folder
// is moved aside, the package takes its place, and only then is the folder removed: at every
// moment the path holds either the whole folder or the whole package, and a failure puts the
// folder back.
void packInPlace(const QString& path, const PackOptions& options) {
    const QByteArray target = QFile::encodeName(QDir::cleanPath(path));
    const QByteArray packed = freeSibling(target, ".pack-");
    compressAll(QFile::decodeName(packed), path, options);  // leaves nothing behind on failure
    const QByteArray aside = freeSibling(target, ".packed-");
    if (::rename(target.constData(), aside.constData()) != 0) {
        const int error = errno;
        ::remove(packed.constData());
        throw Error(
            QStringLiteral("%1: cannot move the folder aside to replace it by its package: %2")
                .arg(path, systemError(error))
                .toStdString());
    }
    if (::rename(packed.constData(), target.constData()) != 0) {
        const int error = errno;
        ::rename(aside.constData(), target.constData());
        ::remove(packed.constData());
        throw Error(QStringLiteral("%1: cannot put the package in the folder's place: %2")
                        .arg(path, systemError(error))
                        .toStdString());
    }
    removeTree(aside);
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
        writeEmptyArchive(packer, packagePath);
        packer.report(1.0);
        return;
    }

    // Declared first so that they outlive the archive, which calls them until it is discarded.
    std::vector<std::unique_ptr<FileSource>> sources;
    sources.reserve(items.size());
    // libzip writes to "<package>.XXXXXX" and renames it over the package when zip_close
    // succeeds; on failure it removes that file, so the package appears only complete.
    int code = ZIP_ER_OK;
    Archive archive(zip_open(package.constData(), ZIP_CREATE | ZIP_TRUNCATE, &code));
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

    if (zip_close(za) != 0)
        packer.raise(QString::fromUtf8(zip_strerror(za)));
    archive.release();
    if (packer.reported() < 1.0)
        packer.report(1.0);
}

void extractAll(const QString& archivePath, const QString& folder, const ExtractLimits& limits,
                QStringList* damaged) {
    const auto failWith = [&](const QString& reason) {
        throwError(QStringLiteral("Cannot unpack %1: %2").arg(quoted(archivePath), reason));
    };
    const auto failEntry = [&](const QByteArray& name, const QString& reason) {
        failWith(entryProblem(name, reason).text);
    };

    QByteArray target = QFile::encodeName(folder);
    while (target.size() > 1 && target.endsWith('/'))
        target.chop(1);
    if (target.isEmpty())
        failWith(QStringLiteral("no target folder given"));
    struct stat st;
    if (::lstat(target.constData(), &st) == 0 && !(S_ISDIR(st.st_mode) && isEmptyFolder(target)))
        failWith(QStringLiteral("%1 exists and is not an empty folder").arg(quoted(folder)));

    Archive archive = openForReading(archivePath, QStringLiteral("unpack"));
    zip_t* za = archive.get();
    const zip_int64_t count = zip_get_num_entries(za, 0);
    if (count > limits.maxEntries)
        failWith(QStringLiteral("it has %1 entries, more than the limit of %2")
                     .arg(count)
                     .arg(limits.maxEntries));
    std::vector<Problem> problems;
    const std::vector<Scanned> entries = scan(za, problems);
    if (!problems.empty())
        failWith(problems.front().text);
    // Headers can lie, so these checks only refuse early; the counting below is what holds.
    qint64 declared = 0;
    for (const Scanned& entry : entries) {
        const qint64 size = qint64(std::min<zip_uint64_t>(entry.stat.size, INT64_MAX / 4));
        if (size > limits.maxEntryBytes)
            failEntry(
                entry.name,
                QStringLiteral("is larger than the limit of %1 bytes").arg(limits.maxEntryBytes));
        declared += size;
        if (declared > limits.maxTotalBytes)
            failEntry(entry.name,
                      QStringLiteral("takes the archive over the limit of %1 unpacked bytes")
                          .arg(limits.maxTotalBytes));
    }

    Staging staging;
    const QString stagingError = staging.create(target);
    if (!stagingError.isEmpty())
        failWith(stagingError);

    std::vector<char> buffer(kChunk);
    qint64 total = 0;
    for (const Scanned& entry : entries) {
        const QByteArray path = entry.isDir ? entry.name.chopped(1) : entry.name;
        if (entry.isDir) {
            if (!makeFolders(staging.path(), path))
                failEntry(entry.name,
                          QStringLiteral("cannot be created: %1").arg(systemError(errno)));
            continue;
        }
        const int slash = path.lastIndexOf('/');
        if (slash > 0 && !makeFolders(staging.path(), path.left(slash)))
            failEntry(entry.name, QStringLiteral("cannot be created: %1").arg(systemError(errno)));

        std::unique_ptr<zip_file_t, int (*)(zip_file_t*)> in(zip_fopen_index(za, entry.index, 0),
                                                             zip_fclose);
        if (!in) {
            if (damaged) {
                damaged->push_back(QString::fromUtf8(entry.name));
                continue;
            }
            failEntry(
                entry.name,
                QStringLiteral("cannot be read: %1").arg(QString::fromUtf8(zip_strerror(za))));
        }
        const QByteArray outPath = staging.path() + '/' + path;
        CloseFd out{::open(outPath.constData(),
                           O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666)};
        if (out.fd < 0)
            failEntry(entry.name, QStringLiteral("cannot be created: %1").arg(systemError(errno)));
        const double compressed = double(std::max<zip_uint64_t>(entry.stat.comp_size, 1));
        qint64 written = 0;
        bool intact = true;
        while (true) {
            const zip_int64_t n = zip_fread(in.get(), buffer.data(), zip_uint64_t(buffer.size()));
            if (n < 0 && damaged) {
                intact = false;
                break;
            }
            if (n < 0)
                failEntry(entry.name, QStringLiteral("is damaged: %1")
                                          .arg(QString::fromUtf8(zip_file_strerror(in.get()))));
            if (n == 0)
                break;
            written += n;
            total += n;
            if (written > limits.maxEntryBytes)
                failEntry(entry.name, QStringLiteral("unpacks to more than the limit of %1 bytes")
                                          .arg(limits.maxEntryBytes));
            if (total > limits.maxTotalBytes)
                failEntry(entry.name,
                          QStringLiteral("takes the archive over the limit of %1 unpacked bytes")
                              .arg(limits.maxTotalBytes));
            if (written > kRatioFloor && double(written) > limits.maxRatio * compressed)
                failEntry(entry.name,
                          QStringLiteral("expands more than %1 times").arg(limits.maxRatio));
            if (!writeAll(out.fd, buffer.data(), n))
                failEntry(entry.name,
                          QStringLiteral("cannot be written: %1").arg(systemError(errno)));
        }
        const int fd = out.fd;
        out.fd = -1;
        if (::close(fd) != 0 && intact)
            failEntry(entry.name, QStringLiteral("cannot be written: %1").arg(systemError(errno)));
        if (!intact) {
            // What was written of it cannot be trusted: leave the entry out altogether.
            ::unlink(outPath.constData());
            damaged->push_back(QString::fromUtf8(entry.name));
        }
    }
    if (!staging.commit(target))
        failWith(QStringLiteral("cannot move the unpacked files to %1: %2")
                     .arg(quoted(folder), systemError(errno)));
}

std::vector<Entry> list(const QString& archivePath) {
    Archive archive = openForReading(archivePath, QStringLiteral("list"));
    const zip_int64_t count = zip_get_num_entries(archive.get(), 0);
    std::vector<Entry> entries;
    entries.reserve(size_t(std::max<zip_int64_t>(count, 0)));
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t st;
        if (zip_stat_index(archive.get(), zip_uint64_t(i), 0, &st) != 0)
            throwError(QStringLiteral("Cannot list %1: entry #%2: %3")
                           .arg(quoted(archivePath))
                           .arg(i)
                           .arg(QString::fromUtf8(zip_strerror(archive.get()))));
        Entry entry;
        entry.name = QString::fromUtf8(st.name);
        entry.size = qint64(st.size);
        entry.compressedSize = qint64(st.comp_size);
        entry.crc = st.crc;
        entry.stored = st.comp_method == ZIP_CM_STORE;
        entry.isDirectory = entry.name.endsWith(QLatin1Char('/'));
        entries.push_back(entry);
    }
    return entries;
}

std::vector<Problem> checkEntries(const QString& archivePath) {
    Archive archive = openForReading(archivePath, QStringLiteral("check"));
    std::vector<Problem> problems;
    // A strict open also compares every local header with its central directory record.
    int code = ZIP_ER_OK;
    if (zip_t* strict =
            zip_open(QFile::encodeName(archivePath).constData(), ZIP_RDONLY | ZIP_CHECKCONS, &code))
        zip_discard(strict);
    else
        problems.push_back(
            {QString(), QStringLiteral("archive structure: %1").arg(zipError(code))});

    const std::vector<Scanned> entries = scan(archive.get(), problems);
    std::vector<char> buffer(kChunk);
    for (const Scanned& entry : entries) {
        std::unique_ptr<zip_file_t, int (*)(zip_file_t*)> in(
            zip_fopen_index(archive.get(), entry.index, 0), zip_fclose);
        if (!in) {
            problems.push_back(
                entryProblem(entry.name, QStringLiteral("cannot be read: %1")
                                             .arg(QString::fromUtf8(zip_strerror(archive.get())))));
            continue;
        }
        qint64 read = 0;
        zip_int64_t n;
        while ((n = zip_fread(in.get(), buffer.data(), zip_uint64_t(buffer.size()))) > 0)
            read += n;
        if (n < 0)
            problems.push_back(
                entryProblem(entry.name, QStringLiteral("is damaged: %1")
                                             .arg(QString::fromUtf8(zip_file_strerror(in.get())))));
        else if (zip_uint64_t(read) != entry.stat.size)
            problems.push_back(
                entryProblem(entry.name, QStringLiteral("holds %1 bytes, its header says %2")
                                             .arg(read)
                                             .arg(entry.stat.size)));
    }
    return problems;
}

QStringList check(const QString& archivePath) {
    QStringList lines;
    for (const Problem& problem : checkEntries(archivePath))
        lines << problem.text;
    return lines;
}

}  // namespace Bundle::Zip
