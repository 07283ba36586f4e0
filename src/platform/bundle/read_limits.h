#pragma once

#include <QtGlobal>

namespace Bundle {

// The bounds within which a package, or a project bundle inside one, is unpacked, parsed and
// decoded. A package comes from elsewhere and may be hostile: every reader of one (unpacking,
// checking, the description, content and stored-item readers, image decoding) stops at these
// limits with an error that names the entry, so that a small file cannot make it write, read or
// allocate without bound. docs/limits.md explains the values.
struct ReadLimits {
    // Archive entries.
    qint64 maxEntries = 100000;
    qint64 maxEntryBytes = qint64(8) << 30;   // bytes unpacked from one entry
    qint64 maxTotalBytes = qint64(16) << 30;  // bytes unpacked from all entries together
    // One entry's unpacked bytes over its compressed size, once it passes ratioFloorBytes.
    double maxRatio = 1000.0;
    qint64 ratioFloorBytes = qint64(1) << 20;
    // All entries' unpacked bytes over the size of the archive file, once they pass
    // archiveRatioFloorBytes: many small entries that each look harmless add up here.
    double maxArchiveRatio = 100.0;
    qint64 archiveRatioFloorBytes = qint64(64) << 20;

    // Files that are read whole into memory and parsed.
    qint64 maxDescriptionBytes = qint64(1) << 20;  // package.xml
    qint64 maxContentBytes = qint64(256) << 20;    // content.xml
    qint64 maxItemBytes = qint64(64) << 20;        // a stored item.xml, a project's content file
    qint64 maxBlobBytes = qint64(256) << 20;       // a blob that a stored item names

    // Images, checked against the size in their header before anything is decoded.
    qint64 maxImageSide = 16384;
    qint64 maxImagePixels = qint64(8192) * 8192;
};

}  // namespace Bundle
