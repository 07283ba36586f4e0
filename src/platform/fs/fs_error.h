#pragma once

#include <QString>

#include <stdexcept>

namespace FS {

// A file operation that the system refused: a write, sync or rename that failed, a file that could
// not be created. The message is one line naming the file and the system's reason ("cannot write
// /out/a.qpack: No space left on device").
class Error : public std::runtime_error {
public:
    Error(const QString& action, const QString& path, int code);

    QString action() const { return m_action; }  // "write", "create", "rename", ...
    QString path() const { return m_path; }
    int code() const { return m_code; }  // the errno value

private:
    QString m_action;
    QString m_path;
    int m_code;
};

// The system's text for an errno value.
QString systemReason(int code);

}  // namespace FS
