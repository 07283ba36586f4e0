#include "platform/bundle/zip_file_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include <zlib.h>

namespace Bundle::Zip::detail {

FileSource::FileSource(Packer& packer, const Item& item) : packer_(packer), item_(item) {
    zip_error_init(&error_);
}

FileSource::~FileSource() {
    closeFile();
    zip_error_fini(&error_);
}

zip_int64_t FileSource::callback(void* self, void* data, zip_uint64_t length,
                                 zip_source_cmd_t cmd) {
    return static_cast<FileSource*>(self)->handle(data, length, cmd);
}

zip_int64_t FileSource::handle(void* data, zip_uint64_t length, zip_source_cmd_t cmd) {
    switch (cmd) {
        case ZIP_SOURCE_OPEN:
            return open();
        case ZIP_SOURCE_READ:
            return read(static_cast<char*>(data), length);
        case ZIP_SOURCE_CLOSE:
        case ZIP_SOURCE_FREE:
            closeFile();
            return 0;
        case ZIP_SOURCE_STAT: {
            zip_stat_t* st = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &error_);
            if (!st)
                return -1;
            zip_stat_init(st);
            st->valid = ZIP_STAT_SIZE | ZIP_STAT_MTIME;
            st->size = zip_uint64_t(item_.size);
            st->mtime = item_.mtime;
            return sizeof(zip_stat_t);
        }
        case ZIP_SOURCE_ERROR:
            return zip_error_to_data(&error_, data, length);
        case ZIP_SOURCE_SUPPORTS:
            return ZIP_SOURCE_SUPPORTS_READABLE;
        default:
            zip_error_set(&error_, ZIP_ER_OPNOTSUPP, 0);
            return -1;
    }
}

zip_int64_t FileSource::open() {
    fd_ = ::open(item_.path.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd_ < 0)
        return failWith(
            ZIP_ER_OPEN, errno,
            QStringLiteral("cannot open %1: %2").arg(quoted(item_.name), systemError(errno)));
    struct stat st;
    if (::fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size != item_.size)
        return failWith(ZIP_ER_CHANGED, 0,
                        QStringLiteral("%1 changed while packing").arg(quoted(item_.name)));
#ifdef POSIX_FADV_SEQUENTIAL
    ::posix_fadvise(fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
    read_ = 0;
    return 0;
}

zip_int64_t FileSource::read(char* data, zip_uint64_t length) {
    ssize_t n;
    do {
        n = ::read(fd_, data, size_t(std::min<zip_uint64_t>(length, SSIZE_MAX)));
    } while (n < 0 && errno == EINTR);
    if (n < 0)
        return failWith(
            ZIP_ER_READ, errno,
            QStringLiteral("cannot read %1: %2").arg(quoted(item_.name), systemError(errno)));
    read_ += n;
    if (read_ > item_.size || (n == 0 && read_ != item_.size))
        return failWith(ZIP_ER_CHANGED, 0,
                        QStringLiteral("%1 changed while packing").arg(quoted(item_.name)));
    // Each file counts one unit besides its bytes, so empty files move the progress too.
    if (!packer_.advance(n == 0 ? 1 : n)) {
        zip_error_set(&error_, ZIP_ER_CANCELLED, 0);
        return -1;
    }
    return n;
}

zip_int64_t FileSource::failWith(int zipCode, int systemCode, const QString& reason) {
    packer_.noteFailure(reason);
    zip_error_set(&error_, zipCode, systemCode);
    return -1;
}

void FileSource::closeFile() {
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
}

// ---- deflated ahead -------------------------------------------------------------------------

DeflatedSource::DeflatedSource(Packer& packer, const Item& item, DeflateQueue& queue, size_t index)
    : packer_(packer), item_(item), queue_(queue), index_(index), pieces_(queue.pieceCount(index)) {
    zip_error_init(&error_);
}

DeflatedSource::~DeflatedSource() {
    zip_error_fini(&error_);
}

zip_int64_t DeflatedSource::callback(void* self, void* data, zip_uint64_t length,
                                     zip_source_cmd_t cmd) {
    return static_cast<DeflatedSource*>(self)->handle(data, length, cmd);
}

// Takes the next piece; false, with the failure noted, when the file could not be read.
bool DeflatedSource::fetch() {
    result_ = queue_.take(index_, fetched_++);
    position_ = 0;
    // Read ahead of its turn: a file changed since then would not be what was read.
    struct stat st;
    if (fetched_ == pieces_ && result_.failure.isEmpty()) {
        if (::lstat(item_.path.constData(), &st) != 0)
            result_.failure = QStringLiteral("cannot open %1: %2")
                                  .arg(quoted(item_.name), systemError(result_.systemCode = errno));
        else if (!S_ISREG(st.st_mode) || st.st_size != item_.size)
            result_.failure = QStringLiteral("%1 changed while packing").arg(quoted(item_.name));
    }
    if (result_.failure.isEmpty()) {
        crc_ = quint32(crc32_combine(crc_, result_.crc, z_off_t(result_.size)));
        compressedSize_ += result_.compressedSize;
        return true;
    }
    result_.data.reset();
    packer_.noteFailure(result_.failure);
    zip_error_set(&error_, result_.systemCode ? ZIP_ER_READ : ZIP_ER_CHANGED, result_.systemCode);
    return false;
}

zip_int64_t DeflatedSource::handle(void* data, zip_uint64_t length, zip_source_cmd_t cmd) {
    // A file that could not be read stays failed, however often libzip asks again.
    const bool failed = !result_.failure.isEmpty();
    if (failed && (cmd == ZIP_SOURCE_OPEN || cmd == ZIP_SOURCE_READ || cmd == ZIP_SOURCE_STAT))
        return -1;
    switch (cmd) {
        case ZIP_SOURCE_OPEN:
            if (fetched_ > 0 && (pieces_ > 1 || position_ > 0)) {
                zip_error_set(&error_, ZIP_ER_INTERNAL, 0);  // read once only: its data is gone
                return -1;
            }
            return fetched_ == 0 && !fetch() ? -1 : 0;
        case ZIP_SOURCE_READ:
            return read(static_cast<char*>(data), length);
        case ZIP_SOURCE_CLOSE:
        case ZIP_SOURCE_FREE:
            // libzip frees sources only when the archive is closed: the data goes now, so that
            // one deflated piece at a time is held here; its CRC and sizes stay for the stat.
            result_.data.reset();
            return 0;
        case ZIP_SOURCE_STAT: {
            zip_stat_t* st = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &error_);
            if (!st || (pieces_ == 1 && fetched_ == 0 && !fetch()))
                return -1;
            // Data compressed already: libzip then copies it unchanged, and takes the CRC and the
            // compressed size from here once they are known.
            zip_stat_init(st);
            st->valid = ZIP_STAT_SIZE | ZIP_STAT_COMP_METHOD | ZIP_STAT_MTIME;
            st->size = zip_uint64_t(item_.size);
            st->comp_method = ZIP_CM_DEFLATE;
            st->mtime = item_.mtime;
            if (fetched_ == pieces_) {
                st->valid |= ZIP_STAT_COMP_SIZE | ZIP_STAT_CRC;
                st->comp_size = zip_uint64_t(compressedSize_);
                st->crc = crc_;
            }
            return sizeof(zip_stat_t);
        }
        case ZIP_SOURCE_ERROR:
            return zip_error_to_data(&error_, data, length);
        case ZIP_SOURCE_SUPPORTS:
            return ZIP_SOURCE_SUPPORTS_READABLE;
        default:
            zip_error_set(&error_, ZIP_ER_OPNOTSUPP, 0);
            return -1;
    }
}

zip_int64_t DeflatedSource::read(char* data, zip_uint64_t length) {
    if (position_ == result_.compressedSize && fetched_ < pieces_) {
        if (!packer_.advance(result_.size)) {
            zip_error_set(&error_, ZIP_ER_CANCELLED, 0);
            return -1;
        }
        if (!fetch())
            return -1;
    }
    const qint64 n = std::min<qint64>(qint64(std::min<zip_uint64_t>(length, INT64_MAX)),
                                      result_.compressedSize - position_);
    if (n > 0)
        std::memcpy(data, result_.data.get() + position_, size_t(n));
    position_ += n;
    if (position_ == result_.compressedSize)
        result_.data.reset();
    // The last piece's bytes and the file's one unit count when its data has gone into the archive.
    if (n == 0 && !counted_) {
        counted_ = true;
        if (!packer_.advance(result_.size + 1)) {
            zip_error_set(&error_, ZIP_ER_CANCELLED, 0);
            return -1;
        }
    }
    return n;
}

}  // namespace Bundle::Zip::detail
