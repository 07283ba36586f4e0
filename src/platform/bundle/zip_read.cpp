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
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>

#include "platform/bundle/unpack_meter.h"
#include "platform/bundle/zip_support.h"

namespace Bundle::Zip {
using namespace detail;

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
        entries.push_back(entryOf(st));
    }
    return entries;
}

std::vector<Problem> checkEntries(const QString& archivePath, const ExtractLimits& limits) {
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

    const zip_int64_t count = zip_get_num_entries(archive.get(), 0);
    if (count > limits.maxEntries) {
        problems.push_back(
            {QString(), QStringLiteral("it has %1 entries, more than the limit of %2")
                            .arg(count)
                            .arg(limits.maxEntries)});
        return problems;
    }
    const std::vector<Scanned> entries = scan(archive.get(), problems);
    struct stat st;
    UnpackMeter meter(limits, ::stat(QFile::encodeName(archivePath).constData(), &st) == 0
                                  ? qint64(st.st_size)
                                  : 0);
    // An archive whose headers already declare too much is not read at all, as it is not unpacked.
    for (const Scanned& entry : entries) {
        const QString overLimit = meter.declare(declaredSize(entry), compressedSize(entry));
        if (!overLimit.isEmpty()) {
            problems.push_back(entryProblem(entry.name, overLimit));
            return problems;
        }
    }
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
        meter.startEntry(compressedSize(entry));
        qint64 read = 0;
        zip_int64_t n = 0;
        QString overLimit;
        while (overLimit.isEmpty() &&
               (n = zip_fread(in.get(), buffer.data(), zip_uint64_t(buffer.size()))) > 0) {
            read += n;
            overLimit = meter.add(n);
        }
        if (!overLimit.isEmpty()) {
            // A bomb is named as soon as it shows itself, not read to its end.
            problems.push_back(entryProblem(entry.name, overLimit));
            if (meter.archiveWide())
                break;
        } else if (n < 0) {
            problems.push_back(
                entryProblem(entry.name, QStringLiteral("is damaged: %1")
                                             .arg(QString::fromUtf8(zip_file_strerror(in.get())))));
        } else if (zip_uint64_t(read) != entry.stat.size) {
            problems.push_back(
                entryProblem(entry.name, QStringLiteral("holds %1 bytes, its header says %2")
                                             .arg(read)
                                             .arg(entry.stat.size)));
        }
    }
    return problems;
}

QStringList check(const QString& archivePath, const ExtractLimits& limits) {
    QStringList lines;
    for (const Problem& problem : checkEntries(archivePath, limits))
        lines << problem.text;
    return lines;
}

}  // namespace Bundle::Zip
