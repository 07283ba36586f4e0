#pragma once

// The zip sources that feed a file's data to libzip while it writes the archive. Internal to the
// bundle library.

#include <zip.h>

#include "platform/bundle/zip_deflate_queue.h"
#include "platform/bundle/zip_packer.h"

namespace Bundle::Zip::detail {

// A file read while libzip writes it, stored or deflated by libzip itself. Opened only then, so at
// most one is open at a time and nothing is held in memory beyond libzip's buffer. It refuses a
// file that changed since it was listed, since the package would not match what was checked.
class FileSource {
public:
    FileSource(Packer& packer, const Item& item);
    ~FileSource();
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    static zip_int64_t callback(void* self, void* data, zip_uint64_t length, zip_source_cmd_t cmd);

private:
    zip_int64_t handle(void* data, zip_uint64_t length, zip_source_cmd_t cmd);
    zip_int64_t open();
    zip_int64_t read(char* data, zip_uint64_t length);
    zip_int64_t failWith(int zipCode, int systemCode, const QString& reason);
    void closeFile();

    Packer& packer_;
    Item item_;
    zip_error_t error_;
    int fd_ = -1;
    qint64 read_ = 0;
};

// A text file deflated ahead on workers (DeflateQueue): libzip gets the finished deflate stream
// and copies it into the archive as it is. The pieces are taken from the queue as libzip reads
// them, in entry order, and each is freed once copied. A file of one piece gives its CRC and sizes
// from the start; for one of several they are known, and stated, once the last piece is read.
class DeflatedSource {
public:
    DeflatedSource(Packer& packer, const Item& item, DeflateQueue& queue, size_t index);
    ~DeflatedSource();
    DeflatedSource(const DeflatedSource&) = delete;
    DeflatedSource& operator=(const DeflatedSource&) = delete;

    static zip_int64_t callback(void* self, void* data, zip_uint64_t length, zip_source_cmd_t cmd);

private:
    zip_int64_t handle(void* data, zip_uint64_t length, zip_source_cmd_t cmd);
    bool fetch();
    zip_int64_t read(char* data, zip_uint64_t length);

    Packer& packer_;
    Item item_;
    DeflateQueue& queue_;
    size_t index_;
    size_t pieces_;
    size_t fetched_ = 0;  // pieces taken from the queue
    bool counted_ = false;
    DeflateQueue::Result result_;  // the current piece
    qint64 position_ = 0;          // in the current piece
    quint32 crc_ = 0;              // of the pieces taken so far
    qint64 compressedSize_ = 0;    // of the pieces taken so far
    zip_error_t error_;
};

}  // namespace Bundle::Zip::detail
