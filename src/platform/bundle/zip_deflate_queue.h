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

    // One piece of a file's deflate stream; the pieces of a file, joined in order, are the stream.
    struct Result {
        std::unique_ptr<uint8_t, Free> data;  // raw deflate data
        qint64 compressedSize = 0;
        qint64 size = 0;  // bytes of the file that it holds
        quint32 crc = 0;  // CRC-32 of those bytes alone
        QString failure;  // why the file could not be read; then there is no data
        int systemCode = 0;
    };

    // Files no larger than this are deflated whole, in one piece, with libdeflate. Larger ones are
    // cut into pieces of kPieceSize, each deflated on its own with zlib, which can start from the
    // text before it and end on a byte boundary, so that the pieces join into one stream.
    static constexpr qint64 kMaxFileSize = 8 * 1024 * 1024;
    static constexpr qint64 kPieceSize = 1024 * 1024;

    // Starts `threads` workers (none for one: take() then deflates on the caller's thread) over
    // `files`, whose pieces are deflated in order at zlib's level `level`. At most about `budget`
    // bytes of files are read ahead of the writer.
    DeflateQueue(std::vector<File> files, int threads, int level, qint64 budget);
    // Stops the workers after their current piece and waits for them.
    ~DeflateQueue();
    DeflateQueue(const DeflateQueue&) = delete;
    DeflateQueue& operator=(const DeflateQueue&) = delete;

    // How many pieces the deflate stream of file `file` comes in.
    size_t pieceCount(size_t file) const { return m_firstPiece[file + 1] - m_firstPiece[file]; }

    // Waits for piece `piece` of file `file` and hands it over; each is taken once, in order.
    Result take(size_t file, size_t piece);

private:
    struct Piece {
        size_t file;
        qint64 offset;
        qint64 size;
    };

    void stop();
    void work();
    Result deflate(const Piece& piece) const;
    Result deflateWhole(const File& file, int fd) const;
    Result deflatePart(const File& file, int fd, const Piece& piece) const;

    std::vector<File> m_files;
    std::vector<size_t> m_firstPiece;  // per file, and one past the last
    std::vector<Piece> m_pieces;
    std::vector<Result> m_results;
    std::vector<char> m_done;
    int m_level;
    qint64 m_budget;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    size_t m_next = 0;      // the next piece a worker starts
    qint64 m_inFlight = 0;  // bytes of pieces started and not yet handed over
    bool m_stopping = false;
    std::vector<std::thread> m_workers;
};

}  // namespace Bundle::Zip::detail
