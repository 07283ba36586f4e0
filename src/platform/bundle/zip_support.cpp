#include "platform/bundle/zip_support.h"

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <set>

namespace Bundle::Zip::detail {

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

Entry entryOf(const zip_stat_t& st) {
    Entry entry;
    entry.name = QString::fromUtf8(st.name);
    entry.size = qint64(st.size);
    entry.compressedSize = qint64(st.comp_size);
    entry.crc = st.crc;
    entry.stored = st.comp_method == ZIP_CM_STORE;
    entry.isDirectory = entry.name.endsWith(QLatin1Char('/'));
    return entry;
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

int removeOne(const char* path, const struct stat*, int, struct FTW*) {
    return ::remove(path);
}

void removeTree(const QByteArray& path) {
    ::nftw(path.constData(), removeOne, 16, FTW_DEPTH | FTW_PHYS);
}

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

bool isSameFolder(const QByteArray& a, const QByteArray& b) {
    struct stat x, y;
    return ::stat(a.constData(), &x) == 0 && ::stat(b.constData(), &y) == 0 && S_ISDIR(x.st_mode) &&
           x.st_dev == y.st_dev && x.st_ino == y.st_ino;
}

}  // namespace Bundle::Zip::detail
