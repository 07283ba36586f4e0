#include "cli/standard_streams.h"

#include <QFile>

#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cli/cli_error.h"
#include "platform/fs/fs_error.h"

namespace Cli {
namespace StandardStreams {
namespace {

[[noreturn]] void failWriting(int code) {
    throw Error(QStringLiteral("cannot write the output: %1")
                    .arg(QString::fromLocal8Bit(std::strerror(code))));
}

void writeAll(const char* data, qint64 size) {
    while (size > 0) {
        const ssize_t written = ::write(STDOUT_FILENO, data, size_t(size));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            failWriting(errno);
        }
        data += written;
        size -= written;
    }
}

// What the text stream and the C library hold must come first.
void flushText(QTextStream& out) {
    out.flush();
    if (std::fflush(stdout) != 0)
        failWriting(errno);
}

}  // namespace

QString inputName() {
    return QStringLiteral("<stdin>");
}

QByteArray readInput() {
    QByteArray bytes;
    char block[65536];
    for (;;) {
        const ssize_t got = ::read(STDIN_FILENO, block, sizeof block);
        if (got == 0)
            return bytes;
        if (got < 0) {
            if (errno == EINTR)
                continue;
            throw Error(QStringLiteral("%1: cannot read the standard input: %2")
                            .arg(inputName(), QString::fromLocal8Bit(std::strerror(errno))));
        }
        bytes.append(block, int(got));
    }
}

void refuseTerminal(const QString& command, const QString& what) {
    if (::isatty(STDOUT_FILENO))
        throw Error(QStringLiteral("%1: -o -: will not write %2 to a terminal; redirect the "
                                   "output or name a file")
                        .arg(command, what),
                    2);
}

void write(const QByteArray& bytes, QTextStream& out) {
    flushText(out);
    writeAll(bytes.constData(), bytes.size());
}

void writeFile(const QString& path, QTextStream& out) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw FS::Error(QStringLiteral("read"), path, errno ? errno : EIO);
    flushText(out);
    char block[1 << 16];
    for (;;) {
        const qint64 got = file.read(block, sizeof block);
        if (got < 0)
            throw FS::Error(QStringLiteral("read"), path, EIO);
        if (got == 0)
            return;
        writeAll(block, got);
    }
}

}  // namespace StandardStreams
}  // namespace Cli
