#pragma once

// Deflates the text files of a pack on worker threads, ahead of the thread that writes the archive,
// which takes the results strictly in entry order. Internal to the bundle library.

#include <QByteArray>
#include <QString>

#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Bundle::Zip::detail {

class DeflateQueue {
public:
    struct File {
        QByteArray name;  // entry name, for messages
        QByteArray path;  // native path
        qint64 size = 0;  // as listed; a file that no longer has it fails
    };

    struct Free {
        void operator()(uint8_t* p) const { std::free(p); }
    };

    struct Result {
        std::unique_ptr<uint8_t, Free> data;  // raw deflate stream
        qint64 compressedSize = 0;
        quint32 crc = 0;
        QString failure;  // why the file could not be read; then there is no data
        int systemCode = 0;
    };

    // Files no larger than this are deflated whole on a worker; larger ones are left to the
    // writer's streaming deflate so that memory stays flat.
    static constexpr qint64 kMaxFileSize = 8 * 1024 * 1024;

    // Starts `threads` workers (at least one) over `files`, which are deflated in their order at
    // zlib's level `level`. At most about `budget` bytes of files are read ahead of the writer.
    DeflateQueue(std::vector<File> files, int threads, int level, qint64 budget);
    // Stops the workers after their current file and waits for them.
    ~DeflateQueue();
    DeflateQueue(const DeflateQueue&) = delete;
    DeflateQueue& operator=(const DeflateQueue&) = delete;

    // Waits for file `index` and hands its result over; each index is taken once, in order.
    Result take(size_t index);

private:
    void stop();
    void work();
    Result deflate(const File& file) const;

    std::vector<File> m_files;
    std::vector<Result> m_results;
    std::vector<char> m_done;
    int m_level;
    qint64 m_budget;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    size_t m_next = 0;      // the next file a worker starts
    qint64 m_inFlight = 0;  // bytes of files started and not yet handed over
    bool m_stopping = false;
    std::vector<std::thread> m_workers;
};

}  // namespace Bundle::Zip::detail
