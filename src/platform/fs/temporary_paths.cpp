#include "platform/fs/temporary_paths.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>

#include <ftw.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <map>
#include <mutex>
#include <thread>

namespace FS {
namespace {

struct Registry {
    std::mutex mutex;
    std::map<quint64, QString> paths;
    quint64 next = 1;
    bool stopping = false;
};

Registry& registry() {
    static Registry instance;
    return instance;
}

int removeOne(const char* path, const struct stat*, int, struct FTW*) {
    ::remove(path);
    return 0;  // go on: remove what can be removed
}

QString randomPart() {
    return QString::number(QRandomGenerator::global()->generate64() & 0xffffffffffULL, 36);
}

bool existsAt(const QString& path) {
    struct stat st;
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0;
}

}  // namespace

quint64 TemporaryPaths::add(const QString& path) {
    Registry& r = registry();
    std::unique_lock<std::mutex> lock(r.mutex);
    // Once removeAll has begun the process is about to end: a temporary registered now could
    // no longer be removed, so whoever registers it waits here for the end instead of creating it.
    while (r.stopping) {
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::hours(1));
        lock.lock();
    }
    const quint64 token = r.next++;
    r.paths.emplace(token, path);
    return token;
}

void TemporaryPaths::release(quint64 token) {
    if (token == 0)
        return;
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.paths.erase(token);
}

void TemporaryPaths::removeAll() {
    Registry& r = registry();
    std::map<quint64, QString> paths;
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        paths.swap(r.paths);
        r.stopping = true;
    }
    // Newest first: a temporary made inside an older one goes before its folder. A path is
    // registered just before it is created, so a thread may still create one that was not there
    // yet: a few more rounds, a moment apart, catch it.
    for (int round = 0; round < 3; ++round) {
        if (round > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        for (auto it = paths.rbegin(); it != paths.rend(); ++it)
            removeAllAt(it->second);
    }
}

QStringList TemporaryPaths::registered() {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    QStringList out;
    for (const auto& entry : r.paths)
        out << entry.second;
    return out;
}

TemporaryPath& TemporaryPath::operator=(TemporaryPath&& other) noexcept {
    if (this != &other) {
        TemporaryPaths::release(token_);
        token_ = other.token_;
        other.token_ = 0;
    }
    return *this;
}

void TemporaryPath::reset(const QString& path) {
    TemporaryPaths::release(token_);
    token_ = path.isEmpty() ? 0 : TemporaryPaths::add(path);
}

QString temporarySibling(const QString& target, const QString& kind) {
    QString clean = QDir::cleanPath(target);
    const int slash = clean.lastIndexOf(QLatin1Char('/'));
    const QString parent = slash > 0 ? clean.left(slash) : slash == 0 ? QStringLiteral("") : ".";
    // Long names would push the temporary past the file system's name limit.
    const QString base = clean.mid(slash + 1).left(120);
    for (;;) {
        const QString candidate =
            QStringLiteral("%1/.%2.pw-%3-%4-%5")
                .arg(parent, base, kind, QString::number(::getpid()), randomPart());
        if (!existsAt(candidate))
            return candidate;
    }
}

QString temporaryInTempFolder(const QString& kind) {
    for (;;) {
        const QString candidate =
            QStringLiteral("%1/packwright-%2-%3-%4")
                .arg(QDir::tempPath(), kind, QString::number(::getpid()), randomPart());
        if (!existsAt(candidate))
            return candidate;
    }
}

bool isStaleTemporary(const QString& fileName) {
    static const QRegularExpression pattern(
        QStringLiteral("^(?:\\..*\\.pw|packwright)-[a-z]+-(\\d+)-[0-9a-z]+$"));
    const QRegularExpressionMatch match = pattern.match(fileName);
    if (!match.hasMatch())
        return false;
    bool ok = false;
    const qint64 pid = match.captured(1).toLongLong(&ok);
    if (!ok || pid <= 0 || pid > INT_MAX || pid == ::getpid())
        return false;
    // A process that runs (or that we may not signal) may still be writing it.
    return ::kill(pid_t(pid), 0) != 0 && errno == ESRCH;
}

int removeStaleTemporaries(const QString& folder) {
    int removed = 0;
    const QStringList names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden |
                                                     QDir::System | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        if (isStaleTemporary(name) && removeAllAt(folder + QLatin1Char('/') + name))
            ++removed;
    }
    return removed;
}

bool removeAllAt(const QString& path) {
    if (path.isEmpty())
        return true;
    const QByteArray native = QFile::encodeName(path);
    struct stat st;
    if (::lstat(native.constData(), &st) != 0)
        return errno == ENOENT;
    if (!S_ISDIR(st.st_mode)) {
        ::unlink(native.constData());
        return ::lstat(native.constData(), &st) != 0;
    }
    // Moved aside first, so that whoever still writes below the old path (another thread, while
    // the process is being stopped) fails instead of refilling the folder as it is emptied.
    QByteArray doomed = QFile::encodeName(temporarySibling(path, QStringLiteral("gone")));
    if (::rename(native.constData(), doomed.constData()) != 0)
        doomed = native;
    for (int attempt = 0; attempt < 3 && ::lstat(doomed.constData(), &st) == 0; ++attempt)
        ::nftw(doomed.constData(), removeOne, 16, FTW_DEPTH | FTW_PHYS);
    return ::lstat(native.constData(), &st) != 0 && ::lstat(doomed.constData(), &st) != 0;
}

}  // namespace FS
