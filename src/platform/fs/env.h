#pragma once

#include <QString>
#include <QtGlobal>

#include <memory>

// The seam between the platform's writers and the operating system, so that tests can make the
// disk fail. Every operation returns 0 or the errno value of its failure, as the system call would;
// turning failures into exceptions is the callers' business (see atomic_file.h). Nothing here is
// buffered.
namespace FS {

// A file being written. The destructor closes a file that is still open, ignoring errors.
class WritableFile {
public:
    virtual ~WritableFile() = default;
    // Writes all `size` bytes at the current position, or fails.
    virtual int write(const char* data, qint64 size) = 0;
    // Moves the position to `offset` bytes from the start.
    virtual int seek(qint64 offset) = 0;
    // Waits until the data is on the device.
    virtual int sync() = 0;
    virtual int close() = 0;
    // Appends what is left to read of the file `fd` and sets `copied` to its size. This one reads
    // and writes through write(); the system's lets the kernel copy, sharing the blocks where the
    // file system can (a reflink).
    virtual int copyFrom(int fd, qint64* copied);
    // Starts writing the bytes [offset, offset + size) to the device without waiting for them, so
    // that a later sync() has little left to wait for. Only a hint: this one does nothing.
    virtual int startWriteback(qint64 offset, qint64 size);
};

class Env {
public:
    virtual ~Env() = default;

    // Creates a new file for writing. Never replaces anything: fails (EEXIST) when the path exists.
    virtual int newWritableFile(const QString& path, std::unique_ptr<WritableFile>* file) = 0;
    // Renames a file or folder, replacing a file at `to` (rename(2)).
    virtual int rename(const QString& from, const QString& to) = 0;
    // Makes the folder's entries (files created or renamed in it) durable.
    virtual int syncFolder(const QString& folder) = 0;
    // Gives the file `from` (a symbolic link followed) the second name `to` (link(2)). Never
    // replaces anything: fails (EEXIST) when `to` exists.
    virtual int link(const QString& from, const QString& to);

    // The environment that every platform writer uses: the system's unless another is installed.
    static Env& current();
    // The system's environment.
    static Env& system();
    // Makes `env` current for the whole process (nullptr: the system's again) and returns the one
    // it replaces. The caller keeps ownership and must uninstall it before destroying it.
    static Env* install(Env* env);
};

}  // namespace FS
