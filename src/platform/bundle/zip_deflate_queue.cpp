#include "platform/bundle/zip_deflate_queue.h"

#include <libdeflate.h>

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

}  // namespace

DeflateQueue::DeflateQueue(std::vector<File> files, int threads, int level, qint64 budget)
    : m_files(std::move(files)),
      m_results(m_files.size()),
      m_done(m_files.size(), 0),
      m_level(level),
      m_budget(budget) {
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
        // In order, and only as far ahead of the writer as the budget allows; the file the writer
        // waits for is always the next to start or already started, so the writer never stalls.
        m_changed.wait(lock, [this] {
            return m_stopping || m_next >= m_files.size() || m_inFlight == 0 ||
                   m_inFlight + m_files[m_next].size <= m_budget;
        });
        if (m_stopping || m_next >= m_files.size())
            return;
        const size_t index = m_next++;
        m_inFlight += m_files[index].size;
        lock.unlock();
        Result result = deflate(m_files[index]);
        lock.lock();
        m_results[index] = std::move(result);
        m_done[index] = 1;
        m_changed.notify_all();
    }
}

DeflateQueue::Result DeflateQueue::take(size_t index) {
    if (m_workers.empty()) {
        return deflate(m_files[index]);
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [&] { return m_done[index] != 0; });
    Result result = std::move(m_results[index]);
    m_inFlight -= m_files[index].size;
    lock.unlock();
    m_changed.notify_all();
    return result;
}

DeflateQueue::Result DeflateQueue::deflate(const File& file) const {
    const int fd = ::open(file.path.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return failure(
            QStringLiteral("cannot open %1: %2").arg(quoted(file.name), systemError(errno)), errno);
    FileCloser closer{fd};
    const QString changed = QStringLiteral("%1 changed while packing").arg(quoted(file.name));
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size != file.size)
        return failure(changed, 0);

    std::unique_ptr<uint8_t, Free> input(static_cast<uint8_t*>(std::malloc(size_t(file.size) + 1)));
    if (!input)
        return failure(QStringLiteral("out of memory reading %1").arg(quoted(file.name)), ENOMEM);
    if (const int code = readWhole(fd, input.get(), file.size)) {
        if (code == kChanged)
            return failure(changed, 0);
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

}  // namespace Bundle::Zip::detail
