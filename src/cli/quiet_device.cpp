#include "cli/quiet_device.h"

#include "cli/verbosity.h"

namespace Cli {

QuietDevice::QuietDevice(QTextStream& err) : m_err(err) {
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

void QuietDevice::release() {
    if (m_held.isEmpty())
        return;
    m_err << QString::fromUtf8(m_held);
    m_err.flush();
    m_held.clear();
}

qint64 QuietDevice::writeData(const char* data, qint64 size) {
    const QByteArray bytes(data, int(size));
    if (Verbosity::quiet()) {
        m_held += bytes;
    } else {
        m_err << QString::fromUtf8(bytes);
        m_err.flush();
    }
    return size;
}

}  // namespace Cli
