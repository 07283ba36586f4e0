#include "cli/checks/check_cache.h"

#include <OpenColorIO/OpenColorIO.h>
#include <glslang/build_info.h>
#include <xxhash.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <sys/stat.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <optional>
#include <vector>

#include "platform/fs/atomic_file.h"
#include "platform/fs/fs.h"
#include "platform/fs/fs_error.h"
#include "platform/fs/scratch_area.h"

namespace Cli {
namespace {

// Raised whenever a check's findings change for the same file, so that older entries go unused.
constexpr int kRevision = 1;

QString toHex(const XXH128_hash_t& hash) {
    return QString::asprintf("%016llx%016llx", static_cast<unsigned long long>(hash.high64),
                             static_cast<unsigned long long>(hash.low64));
}

// This very program: a rebuilt one may check differently under the same version number.
QByteArray programIdentity() {
    struct stat status {};
    if (::stat("/proc/self/exe", &status) != 0)
        return "unknown";
    return QByteArray::number(qint64(status.st_size)) + " bytes at " +
           QByteArray::number(qint64(status.st_mtim.tv_sec)) + "." +
           QByteArray::number(qint64(status.st_mtim.tv_nsec));
}

// The versions of what makes the findings: this program and the libraries behind the checks.
const QByteArray& versions() {
    static const QByteArray text = "packwright " PACKWRIGHT_VERSION " (" + programIdentity() +
                                   ") r" + QByteArray::number(kRevision) + "; OCIO " +
                                   OCIO_NAMESPACE::GetVersion() + "; glslang " +
                                   QByteArray::number(GLSLANG_VERSION_MAJOR) + "." +
                                   QByteArray::number(GLSLANG_VERSION_MINOR) + "." +
                                   QByteArray::number(GLSLANG_VERSION_PATCH) + "; avformat " +
                                   QByteArray::number(avformat_version()) + "; avcodec " +
                                   QByteArray::number(avcodec_version()) + "; Qt " + qVersion();
    return text;
}

// The file's size and the digest of its bytes, read in one pass; nothing when it cannot be read.
std::optional<QString> contentOf(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    XXH3_state_t* state = XXH3_createState();
    if (!state)
        return std::nullopt;
    XXH3_128bits_reset(state);
    std::vector<char> buffer(1 << 20);
    qint64 size = 0;
    qint64 got = 0;
    while ((got = file.read(buffer.data(), qint64(buffer.size()))) > 0) {
        XXH3_128bits_update(state, buffer.data(), size_t(got));
        size += got;
    }
    const XXH128_hash_t digest = XXH3_128bits_digest(state);
    XXH3_freeState(state);
    if (got < 0)
        return std::nullopt;
    return QStringLiteral("%1 bytes, %2").arg(size).arg(toHex(digest));
}

// Everything the findings depend on, as one line.
std::optional<QByteArray> keyOf(const QString& what, const QString& path) {
    const auto content = contentOf(path);
    if (!content)
        return std::nullopt;
    return versions() + "\n" + what.toUtf8() + "\n" + QFile::encodeName(path) + "\n" +
           content->toUtf8();
}

QString entryName(const QByteArray& key) {
    return toHex(XXH3_128bits(key.constData(), size_t(key.size())));
}

// The findings kept for `key`, when the entry reads back whole and is of that key.
std::optional<std::vector<Finding>> readEntry(const QString& entry, const QByteArray& key) {
    QFile file(entry);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.read(1 << 20), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    if (object.value(QStringLiteral("key")).toString().toUtf8() != key ||
        !object.value(QStringLiteral("findings")).isArray())
        return std::nullopt;
    std::vector<Finding> findings;
    for (const QJsonValue& value : object.value(QStringLiteral("findings")).toArray()) {
        const QJsonObject kept = value.toObject();
        const QString severity = kept.value(QStringLiteral("severity")).toString();
        const QJsonValue line = kept.value(QStringLiteral("line"));
        const QJsonValue message = kept.value(QStringLiteral("message"));
        if ((severity != QLatin1String("error") && severity != QLatin1String("warning")) ||
            !line.isDouble() || line.toInt(-1) < 0 || !message.isString())
            return std::nullopt;
        Finding finding;
        finding.severity = severity == QLatin1String("error") ? Finding::Error : Finding::Warning;
        finding.line = line.toInt();
        finding.message = message.toString();
        findings.push_back(finding);
    }
    return findings;
}

void writeEntry(const QString& entry, const QByteArray& key, const CheckReport& found) {
    QJsonArray findings;
    for (const Finding& finding : found.findings())
        findings.append(QJsonObject{{QStringLiteral("severity"), finding.severity == Finding::Error
                                                                     ? QStringLiteral("error")
                                                                     : QStringLiteral("warning")},
                                    {QStringLiteral("line"), finding.line},
                                    {QStringLiteral("message"), finding.message}});
    const QJsonObject object{{QStringLiteral("key"), QString::fromUtf8(key)},
                             {QStringLiteral("findings"), findings}};
    try {
        FS::AtomicFile file(entry, QStringLiteral("cache"));
        file.append(QJsonDocument(object).toJson(QJsonDocument::Compact));
        file.commit(true, false);
    } catch (const FS::Error&) {
        // A full disk or a read-only cache: the findings are reported all the same.
    }
}

bool samePlace(const Finding& finding, const CheckPlace& place) {
    return finding.component == place.component && finding.field == place.field &&
           finding.file == place.file && finding.item == place.item;
}

}  // namespace

QString CheckCache::defaultFolder() {
    QString base = qEnvironmentVariable("XDG_CACHE_HOME");
    if (base.isEmpty() || QDir::isRelativePath(base)) {
        const QString home = qEnvironmentVariable("HOME");
        if (home.isEmpty() || QDir::isRelativePath(home))
            return QString();
        base = home + QStringLiteral("/.cache");
    }
    return base + QStringLiteral("/packwright/checks");
}

CheckCache::CheckCache(const QString& folder) {
    if (folder.isEmpty() || !FS::makePath(folder))
        return;
    m_folder = QDir(folder).absolutePath();
    // Entries are worth nothing after a crash, so they are not synced: one that is cut off does
    // not read back and is written again.
    m_area = std::make_unique<FS::ScratchArea>(m_folder);
}

CheckCache::~CheckCache() = default;

QString CheckCache::entryPath(const QString& what, const QString& path) const {
    const auto key = keyOf(what, path);
    return key && !m_folder.isEmpty() ? m_folder + QLatin1Char('/') + entryName(*key) : QString();
}

void CheckCache::run(const QString& what, const QString& path, const CheckPlace& place,
                     CheckReport& report, const Check& check) const {
    const auto key = m_folder.isEmpty() ? std::nullopt : keyOf(what, path);
    if (!key) {
        check(report);
        return;
    }
    const QString entry = m_folder + QLatin1Char('/') + entryName(*key);
    if (const auto kept = readEntry(entry, *key)) {
        for (const Finding& finding : *kept)
            report.add(place, finding.severity, finding.message, finding.line);
        return;
    }
    CheckReport found;
    check(found);
    bool keepable = true;
    for (const Finding& finding : found.findings()) {
        report.add(finding);
        keepable = keepable && samePlace(finding, place);
    }
    if (keepable)
        writeEntry(entry, *key, found);
}

}  // namespace Cli
