#pragma once

#include <QByteArray>
#include <QString>
#include <QTextStream>

namespace Cli {

// `-` in place of a file: the recipe read from standard input, or the one file that a command
// makes written to standard output. A file meant for standard output is made whole first (in a
// temporary, or in memory) and only then streamed, so that a failure leaves nothing half-written
// for the reader. While it goes there, the command's report goes to standard error.
namespace StandardStreams {

// Whether a path argument means standard input or output.
inline bool isDash(const QString& path) {
    return path == QLatin1String("-");
}

// How a recipe read from standard input is named in messages.
QString inputName();

// All of standard input. Throws Cli::Error when it cannot be read.
QByteArray readInput();

// Throws Cli::Error (exit code 2) when standard output is a terminal: bytes that are not text
// would garble it, as would the control characters a package may hold. `what` names the output
// ("the package").
void refuseTerminal(const QString& command, const QString& what);

// Writes bytes, or a whole file, to standard output after what `out` holds so far. Throws
// Cli::Error when the output cannot be written, or FS::Error when the file cannot be read.
void write(const QByteArray& bytes, QTextStream& out);
void writeFile(const QString& path, QTextStream& out);

}  // namespace StandardStreams
}  // namespace Cli
