#pragma once

#include <QString>

namespace Cli {

// The SHA-256 of a file's bytes in lowercase hex, read in blocks so that memory stays flat in the
// file's size. Throws FS::Error naming the file when it cannot be read.
QString sha256Of(const QString& path);

}  // namespace Cli
