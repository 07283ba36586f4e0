#include "platform/fs/fs_error.h"

#include <cstring>

namespace FS {
namespace {

// Paths can come from archives we do not control; keep the message on one line and inert.
QString printable(const QString& text) {
    QString out = text;
    for (QChar& c : out) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            c = QLatin1Char('?');
    }
    return out;
}

}  // namespace

Error::Error(const QString& action, const QString& path, int code)
    : std::runtime_error(QStringLiteral("cannot %1 %2: %3")
                             .arg(action, printable(path), systemReason(code))
                             .toStdString()),
      m_action(action),
      m_path(path),
      m_code(code) {}

QString systemReason(int code) {
    return QString::fromLocal8Bit(std::strerror(code));
}

}  // namespace FS
