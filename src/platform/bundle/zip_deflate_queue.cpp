#include "platform/bundle/zip_deflate_queue.h"

#include <libdeflate.h>
#include <zlib.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "platform/bundle/zip_support.h"

namespace Bundle::Zip::detail {
namespace {

struct CompressorFree {
    void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
};
using Compressor = std::unique_ptr<libdeflate_compressor, CompressorFree>;

struct FileCloser {
    int fd;
    ~FileCloser() { ::close(fd); }
};

DeflateQueue::Result failure(const QString& reason, int code) {
    DeflateQueue::Result result;
    result.failure = reason;
    result.systemCode = code;
    return result;
}

constexpr int kChanged = -1;

// What a piece of a large file may refer back to: deflate's whole window.
constexpr qint64 kWindow = 32 * 1024;

// Reads exactly `size` bytes and makes sure nothing follows: a file that grew or shrank since it
// was listed would not match what was checked. Returns 0, kChanged or the errno of a failed read.
int readWhole(int fd, uint8_t* data, qint64 size) {
    qint64 done = 0;
    char probe;
    while (true) {
        const bool atEnd = done == size;
        const ssize_t n =
            atEnd ? ::read(fd, &probe, 1)
                  : ::read(fd, data + done, size_t(std::min<qint64>(size - done, SSIZE_MAX)));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        if (atEnd || n == 0)
            return atEnd && n == 0 ? 0 : kChanged;
        done += n;
    }
}

// Reads exactly `size` bytes at `offset`; kChanged when the file ends before them.
int readAt(int fd, uint8_t* data, qint64 size, qint64 offset) {
    qint64 done = 0;
    while (done < size) {
        const ssize_t n = ::pread(fd, data + done, size_t(std::min<qint64>(size - done, SSIZE_MAX)),
                                  off_t(offset + done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        if (n == 0)
            return kChanged;
        done += n;
    }
    return 0;
}

struct StreamEnd {
    z_stream* stream;
    ~StreamEnd() { deflateEnd(stream); }
};

}  // namespace

DeflateQueue::DeflateQueue(std::vector<File> files, int threads, int level, qint64 budget)
    : m_files(std::move(files)), m_level(level), m_budget(budget) {
    // Cut where the size alone says, so that the pieces, and thus the bytes of the package, are
    // the same on any number of threads.
    for (size_t i = 0; i < m_files.size(); ++i) {
        m_firstPiece.push_back(m_pieces.size());
        const qint64 size = m_files[i].size;
        if (size <= kMaxFileSize) {
            m_pieces.push_back({i, 0, size});
            continue;
        }
        for (qint64 offset = 0; offset < size; offset += kPieceSize)
            m_pieces.push_back({i, offset, std::min(kPieceSize, size - offset)});
    }
    m_firstPiece.push_back(m_pieces.size());
    m_results.resize(m_pieces.size());
    m_done.assign(m_pieces.size(), 0);
    // One thread means none of our own: take() deflates on the caller's.
    if (threads <= 1)
        return;
    try {
        for (int i = 0; i < threads; ++i)
            m_workers.emplace_back([this] { work(); });
    } catch (...) {
        stop();
        throw;
    }
}

DeflateQueue::~DeflateQueue() {
    stop();
}

void DeflateQueue::stop() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_changed.notify_all();
    for (std::thread& worker : m_workers)
        worker.join();
    m_workers.clear();
}

void DeflateQueue::work() {
    std::unique_lock<std::mutex> lock(m_mutex);
    while (true) {
        // In order, and only as far ahead of the writer as the budget allows; the piece the writer
        // waits for is always the next to start or already started, so the writer never stalls.
        m_changed.wait(lock, [this] {
            return m_stopping || m_next >= m_pieces.size() || m_inFlight == 0 ||
                   m_inFlight + m_pieces[m_next].size <= m_budget;
        });
        if (m_stopping || m_next >= m_pieces.size())
            return;
        const size_t index = m_next++;
        m_inFlight += m_pieces[index].size;
        lock.unlock();
        Result result = deflate(m_pieces[index]);
        lock.lock();
        m_results[index] = std::move(result);
        m_done[index] = 1;
        m_changed.notify_all();
    }
}

DeflateQueue::Result DeflateQueue::take(size_t file, size_t piece) {
    const size_t index = m_firstPiece[file] + piece;
    if (m_workers.empty())
        return deflate(m_pieces[index]);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [&] { return m_done[index] != 0; });
    Result result = std::move(m_results[index]);
    m_inFlight -= m_pieces[index].size;
    lock.unlock();
    m_changed.notify_all();
    return result;
}

DeflateQueue::Result DeflateQueue::deflate(const Piece& piece) const {
    const File& file = m_files[piece.file];
    const int fd = ::open(file.path.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return failure(
            QStringLiteral("cannot open %1: %2").arg(quoted(file.name), systemError(errno)), errno);
    FileCloser closer{fd};
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size != file.size)
        return failure(QStringLiteral("%1 changed while packing").arg(quoted(file.name)), 0);
    return file.size <= kMaxFileSize ? deflateWhole(file, fd) : deflatePart(file, fd, piece);
}

DeflateQueue::Result DeflateQueue::deflateWhole(const File& file, int fd) const {
    std::unique_ptr<uint8_t, Free> input(static_cast<uint8_t*>(std::malloc(size_t(file.size) + 1)));
    if (!input)
        return failure(QStringLiteral("out of memory reading %1").arg(quoted(file.name)), ENOMEM);
    if (const int code = readWhole(fd, input.get(), file.size)) {
        if (code == kChanged)
            return failure(QStringLiteral("%1 changed while packing").arg(quoted(file.name)), 0);
        return failure(
            QStringLiteral("cannot read %1: %2").arg(quoted(file.name), systemError(code)), code);
    }

    // Compressors are a few hundred kilobytes each: one per worker would do, but one per file
    // costs little beside deflating it and keeps the workers free of state.
    Compressor compressor(libdeflate_alloc_compressor(m_level));
    if (!compressor)
        return failure(QStringLiteral("out of memory deflating %1").arg(quoted(file.name)), ENOMEM);
    const size_t bound = libdeflate_deflate_compress_bound(compressor.get(), size_t(file.size));
    Result result;
    result.data.reset(static_cast<uint8_t*>(std::malloc(bound)));
    if (!result.data)
        return failure(QStringLiteral("out of memory deflating %1").arg(quoted(file.name)), ENOMEM);
    result.size = file.size;
    result.crc = libdeflate_crc32(0, input.get(), size_t(file.size));
    const size_t written = libdeflate_deflate_compress(compressor.get(), input.get(),
                                                       size_t(file.size), result.data.get(), bound);
    input.reset();
    result.compressedSize = qint64(written);
    if (void* shrunk = std::realloc(result.data.get(), std::max<size_t>(written, 1))) {
        result.data.release();
        result.data.reset(static_cast<uint8_t*>(shrunk));
    }
    return result;
}

DeflateQueue::Result DeflateQueue::deflatePart(const File& file, int fd, const Piece& piece) const {
    const QString changed = QStringLiteral("%1 changed while packing").arg(quoted(file.name));
    const QString noMemory = QStringLiteral("out of memory deflating %1").arg(quoted(file.name));
    // The window before the piece is read too: the piece's matches may reach back into it.
    const qint64 window = std::min(kWindow, piece.offset);
    const bool last = piece.offset + piece.size == file.size;
    std::unique_ptr<uint8_t, Free> input(
        static_cast<uint8_t*>(std::malloc(size_t(window + piece.size))));
    if (!input)
        return failure(noMemory, ENOMEM);
    int code = readAt(fd, input.get(), window + piece.size, piece.offset - window);
    char probe;
    if (code == 0 && last) {
        // Nothing may follow the last piece: the file would have grown since it was listed.
        const ssize_t n = ::pread(fd, &probe, 1, off_t(file.size));
        code = n < 0 ? errno : n > 0 ? kChanged : 0;
    }
    if (code == kChanged)
        return failure(changed, 0);
    if (code != 0)
        return failure(
            QStringLiteral("cannot read %1: %2").arg(quoted(file.name), systemError(code)), code);

    z_stream stream{};
    if (deflateInit2(&stream, m_level, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return failure(noMemory, ENOMEM);
    const StreamEnd end{&stream};
    if (window > 0 && deflateSetDictionary(&stream, input.get(), uInt(window)) != Z_OK)
        return failure(noMemory, ENOMEM);
    // The stream ends with the last piece; the others end on a byte boundary with an empty stored
    // block (a sync flush), where the next piece's blocks can follow.
    const int flush = last ? Z_FINISH : Z_SYNC_FLUSH;
    size_t capacity = deflateBound(&stream, uLong(piece.size)) + 16;
    Result result;
    result.data.reset(static_cast<uint8_t*>(std::malloc(capacity)));
    if (!result.data)
        return failure(noMemory, ENOMEM);
    stream.next_in = input.get() + window;
    stream.avail_in = uInt(piece.size);
    while (true) {
        stream.next_out = result.data.get() + result.compressedSize;
        stream.avail_out = uInt(capacity - size_t(result.compressedSize));
        const int status = ::deflate(&stream, flush);
        result.compressedSize = qint64(capacity - stream.avail_out);
        if (status == Z_STREAM_END || (!last && status == Z_OK && stream.avail_out > 0))
            break;
        if (status != Z_OK && status != Z_BUF_ERROR)
            return failure(noMemory, ENOMEM);
        capacity *= 2;  // not reached with deflateBound's room; kept for safety
        void* grown = std::realloc(result.data.get(), capacity);
        if (!grown)
            return failure(noMemory, ENOMEM);
        result.data.release();
        result.data.reset(static_cast<uint8_t*>(grown));
    }
    result.size = piece.size;
    result.crc = libdeflate_crc32(0, input.get() + window, size_t(piece.size));
    return result;
}

}  // namespace Bundle::Zip::detail
