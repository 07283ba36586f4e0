#include "cli/preview/archive_entry_device.h"

#include <zip.h>

#include <algorithm>

#include "platform/bundle/bundle_error.h"

namespace Cli::Preview {

ArchiveEntryDevice::ArchiveEntryDevice(zip* archive, qint64 index, qint64 size, const QString& name)
    : m_size(size) {
    m_file = zip_fopen_index(archive, zip_uint64_t(index), 0);
    if (!m_file)
        throw Bundle::Error(QStringLiteral("%1: cannot read the entry: %2")
                                .arg(name, QString::fromUtf8(zip_strerror(archive)))
                                .toStdString());
    // Decoders buffer on their own; a second buffer here would only copy.
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

ArchiveEntryDevice::~ArchiveEntryDevice() {
    close();
    zip_fclose(m_file);
}

bool ArchiveEntryDevice::seek(qint64 position) {
    if (position < 0 || position > m_size)
        return false;
    if (zip_fseek(m_file, position, SEEK_SET) != 0)
        return false;
    return QIODevice::seek(position);
}

qint64 ArchiveEntryDevice::readData(char* data, qint64 maxSize) {
    const qint64 left = m_size - pos();
    if (left <= 0)
        return 0;
    const zip_int64_t read = zip_fread(m_file, data, zip_uint64_t(std::min(maxSize, left)));
    return read < 0 ? -1 : qint64(read);
}

}  // namespace Cli::Preview
