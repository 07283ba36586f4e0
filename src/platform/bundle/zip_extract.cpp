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

#include "platform/bundle/unpack_meter.h"
#include "platform/bundle/zip_support.h"
#include "platform/fs/env.h"
#include "platform/fs/fs_error.h"
#include "platform/fs/temporary_paths.h"

namespace Bundle::Zip {
using namespace detail;
namespace {

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

// The unpacking in progress: a private folder beside the target, removed unless committed.
class Staging {
public:
    ~Staging() {
        if (!path_.isEmpty())
            removeTree(path_);
        registration_.reset();
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
        // Named and registered so that an interrupted unpack can be cleaned up.
        for (int attempt = 0; attempt < 100; ++attempt) {
            const QString candidate =
                FS::temporarySibling(QFile::decodeName(target), QStringLiteral("unpack"));
            registration_.reset(candidate);
            if (::mkdir(QFile::encodeName(candidate).constData(), 0777) == 0) {
                path_ = QFile::encodeName(candidate);
                return {};
            }
            registration_.reset();
            if (errno != EEXIST)
                return QStringLiteral("cannot create a folder beside it: %1")
                    .arg(systemError(errno));
        }
        return QStringLiteral("cannot create a folder beside it");
    }

    const QByteArray& path() const { return path_; }

    // Moves the staged tree onto the target; an empty folder there is replaced. Returns 0 or the
    // system's error.
    int commit(const QByteArray& target) {
        const int code =
            FS::Env::current().rename(QFile::decodeName(path_), QFile::decodeName(target));
        if (code != 0)
            return code;
        path_.clear();
        registration_.reset();
        createdParents_.clear();
        return 0;
    }

private:
    static bool exists(const QByteArray& path) {
        struct stat st;
        return ::lstat(path.constData(), &st) == 0;
    }

    QByteArray path_;
    FS::TemporaryPath registration_;
    QByteArrayList createdParents_;
};

}  // namespace

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
    const qint64 archiveBytes =
        ::stat(QFile::encodeName(archivePath).constData(), &st) == 0 ? qint64(st.st_size) : 0;
    UnpackMeter meter(limits, archiveBytes);
    for (const Scanned& entry : entries) {
        const QString overLimit = meter.declare(declaredSize(entry), compressedSize(entry));
        if (!overLimit.isEmpty())
            failEntry(entry.name, overLimit);
    }

    Staging staging;
    const QString stagingError = staging.create(target);
    if (!stagingError.isEmpty())
        failWith(stagingError);

    std::vector<char> buffer(kChunk);
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
        // Failures of the disk name the file as it will be called once unpacked.
        const QString finalPath = QFile::decodeName(target + '/' + path);
        std::unique_ptr<FS::WritableFile> out;
        if (const int code = FS::Env::current().newWritableFile(QFile::decodeName(outPath), &out)) {
            // A name the file system refuses is the archive's problem; a full disk is not.
            if (code == ENOSPC || code == EDQUOT || code == EIO || code == EROFS)
                throw FS::Error(QStringLiteral("create"), finalPath, code);
            failEntry(entry.name, QStringLiteral("cannot be created: %1").arg(systemError(code)));
        }
        meter.startEntry(compressedSize(entry));
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
            const QString overLimit = meter.add(n);
            if (!overLimit.isEmpty())
                failEntry(entry.name, overLimit);
            if (const int code = out->write(buffer.data(), n))
                throw FS::Error(QStringLiteral("write"), finalPath, code);
        }
        const int closed = out->close();
        out.reset();
        if (closed != 0 && intact)
            throw FS::Error(QStringLiteral("write"), finalPath, closed);
        if (!intact) {
            // What was written of it cannot be trusted: leave the entry out altogether.
            ::unlink(outPath.constData());
            damaged->push_back(QString::fromUtf8(entry.name));
        }
    }
    if (const int code = staging.commit(target))
        throw FS::Error(QStringLiteral("move the unpacked files to"), folder, code);
}

}  // namespace Bundle::Zip
