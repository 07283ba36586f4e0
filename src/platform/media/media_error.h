#pragma once

#include <QString>

#include <stdexcept>
#include <string>

namespace Media {

// What the media layer throws. what() is the whole message; file() is the media file (or the
// output) that it concerns, so that a caller can say where the file came from even when the
// message itself is fixed and names no file.
class Error : public std::runtime_error {
public:
    Error(const std::string& message, const QString& file)
        : std::runtime_error(message), file_(file) {}

    const QString& file() const { return file_; }

private:
    QString file_;
};

}  // namespace Media
