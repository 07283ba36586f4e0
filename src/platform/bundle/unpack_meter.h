#pragma once

#include <QString>

#include "platform/bundle/read_limits.h"

namespace Bundle::Zip {

// Counts the bytes that an unpack or a check really decompresses and tells when they pass one of
// the limits. Headers can lie about sizes, so only what is counted here holds. Owns nothing.
class UnpackMeter {
public:
    // `archiveBytes` is the size of the archive file, for the limit of the ratio to it.
    UnpackMeter(const ReadLimits& limits, qint64 archiveBytes);

    // Checks what the header of the next entry declares: its size and its compressed size. Headers
    // can lie, so this only refuses early; add() is what holds. Returns why a limit is passed
    // ("is larger than the limit of 1024 bytes"), or an empty string.
    QString declare(qint64 size, qint64 compressedBytes);

    // Starts counting a new entry whose data takes `compressedBytes` in the archive.
    void startEntry(qint64 compressedBytes);

    // Counts `bytes` more of the current entry. Returns why a limit is passed (a reason to follow
    // the entry's name, "expands more than 1000 times"), or an empty string.
    QString add(qint64 bytes);

    // Whether the last passed limit is one of the whole archive (total bytes, ratio to the archive
    // file): reading any further entry would pass it too.
    bool archiveWide() const { return m_archiveWide; }

    qint64 total() const { return m_total; }

private:
    QString archiveRatioReason() const;

    ReadLimits m_limits;
    qint64 m_archiveBytes = 0;
    qint64 m_compressed = 0;
    qint64 m_entry = 0;
    qint64 m_total = 0;
    qint64 m_declared = 0;
    bool m_archiveWide = false;
};

}  // namespace Bundle::Zip
