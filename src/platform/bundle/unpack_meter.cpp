#include "platform/bundle/unpack_meter.h"

#include <algorithm>

namespace Bundle::Zip {

UnpackMeter::UnpackMeter(const ReadLimits& limits, qint64 archiveBytes)
    : m_limits(limits), m_archiveBytes(std::max<qint64>(archiveBytes, 1)) {}

QString UnpackMeter::declare(qint64 size, qint64 compressedBytes) {
    m_declared += size;
    m_archiveWide = false;
    if (size > m_limits.maxEntryBytes)
        return QStringLiteral("is larger than the limit of %1 bytes").arg(m_limits.maxEntryBytes);
    if (size > m_limits.ratioFloorBytes &&
        double(size) > m_limits.maxRatio * double(std::max<qint64>(compressedBytes, 1)))
        return QStringLiteral("expands more than %1 times").arg(m_limits.maxRatio);
    m_archiveWide = true;
    if (m_declared > m_limits.maxTotalBytes)
        return QStringLiteral("takes the archive over the limit of %1 unpacked bytes")
            .arg(m_limits.maxTotalBytes);
    if (m_declared > m_limits.archiveRatioFloorBytes &&
        double(m_declared) > m_limits.maxArchiveRatio * double(m_archiveBytes))
        return archiveRatioReason();
    m_archiveWide = false;
    return QString();
}

QString UnpackMeter::archiveRatioReason() const {
    return QStringLiteral("takes the archive past %1 times its own size of %2 bytes unpacked")
        .arg(m_limits.maxArchiveRatio)
        .arg(m_archiveBytes);
}

void UnpackMeter::startEntry(qint64 compressedBytes) {
    m_compressed = std::max<qint64>(compressedBytes, 1);
    m_entry = 0;
}

QString UnpackMeter::add(qint64 bytes) {
    m_entry += bytes;
    m_total += bytes;
    m_archiveWide = false;
    if (m_entry > m_limits.maxEntryBytes)
        return QStringLiteral("unpacks to more than the limit of %1 bytes")
            .arg(m_limits.maxEntryBytes);
    if (m_entry > m_limits.ratioFloorBytes && double(m_entry) > m_limits.maxRatio * m_compressed)
        return QStringLiteral("expands more than %1 times").arg(m_limits.maxRatio);
    m_archiveWide = true;
    if (m_total > m_limits.maxTotalBytes)
        return QStringLiteral("takes the archive over the limit of %1 unpacked bytes")
            .arg(m_limits.maxTotalBytes);
    if (m_total > m_limits.archiveRatioFloorBytes &&
        double(m_total) > m_limits.maxArchiveRatio * m_archiveBytes)
        return archiveRatioReason();
    m_archiveWide = false;
    return QString();
}

}  // namespace Bundle::Zip
