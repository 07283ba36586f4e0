#pragma once

#include <QIODevice>

struct zip;
struct zip_file;

namespace Cli::Preview {

// Reads one entry of an open zip archive in place, as a random-access device. Only entries that
// are stored (not compressed) can be read this way: their bytes seek directly, so that a decoder
// can take a few frames out of a large video without the rest of it being read. The archive is
// not owned and must outlive the device.
class ArchiveEntryDevice : public QIODevice {
public:
    // Opens entry `index` of `archive`, of `size` bytes, for reading. Throws Bundle::Error naming
    // `name` when libzip cannot open it.
    ArchiveEntryDevice(zip* archive, qint64 index, qint64 size, const QString& name);
    ~ArchiveEntryDevice() override;

    bool isSequential() const override { return false; }
    qint64 size() const override { return m_size; }
    bool seek(qint64 position) override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    zip_file* m_file = nullptr;
    qint64 m_size = 0;
};

}  // namespace Cli::Preview
