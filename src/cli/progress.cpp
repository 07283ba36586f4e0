#include "cli/progress.h"

#include <unistd.h>

#include <cstdio>

namespace Cli {

Progress::Progress() : m_enabled(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    done();
}

void Progress::show(const QString& text) {
    if (!m_enabled)
        return;
    std::fprintf(stderr, "\r\033[K%s", text.toLocal8Bit().constData());
    std::fflush(stderr);
    m_shown = true;
}

void Progress::done() {
    if (m_enabled && m_shown) {
        std::fprintf(stderr, "\r\033[K");
        std::fflush(stderr);
    }
    m_shown = false;
}

}  // namespace Cli
