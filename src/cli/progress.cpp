#include "cli/progress.h"

#include <unistd.h>

#include <QLocale>

#include <cmath>
#include <cstdio>

#include "cli/verbosity.h"

namespace Cli {
namespace {

void drawOnStderr(const QString& line) {
    std::fprintf(stderr, "\r\033[K%s", line.toLocal8Bit().constData());
    std::fflush(stderr);
}

QString size(qint64 bytes) {
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

QString duration(double seconds) {
    const qint64 whole = qint64(std::ceil(seconds));
    if (whole < 60)
        return QStringLiteral("%1 s").arg(whole);
    if (whole < 3600)
        return QStringLiteral("%1 min %2 s").arg(whole / 60).arg(whole % 60);
    return QStringLiteral("%1 h %2 min").arg(whole / 3600).arg(whole % 3600 / 60);
}

}  // namespace

Progress::Progress() : Progress(isatty(STDERR_FILENO) == 1) {}

Progress::Progress(bool enabled)
    : m_enabled(enabled && !Verbosity::quiet()),
      m_sink(drawOnStderr),
      m_clock([] { return std::chrono::steady_clock::now(); }) {}

Progress::Progress(Sink sink, Clock clock)
    : m_enabled(true), m_sink(std::move(sink)), m_clock(std::move(clock)) {}

Progress::~Progress() {
    done();
}

void Progress::draw(const QString& text) {
    m_sink(text);
    m_shown = true;
    m_drawnOnce = true;
    m_holding = false;
    m_lastDraw = m_clock();
}

void Progress::show(const QString& text) {
    if (!m_enabled)
        return;
    if (m_drawnOnce && m_clock() - m_lastDraw < kInterval) {
        m_held = text;
        m_holding = true;
        return;
    }
    draw(text);
}

void Progress::showBytes(const QString& what, qint64 done, qint64 total) {
    if (!m_enabled)
        return;
    const auto now = m_clock();
    if (!m_bytesStarted) {
        m_bytesStarted = true;
        m_bytesStart = now;
    }
    QString text = QStringLiteral("%1: %2 of %3").arg(what, size(done), size(total));
    const double seconds = std::chrono::duration<double>(now - m_bytesStart).count();
    if (seconds > 0 && done > 0) {
        const double speed = double(done) / seconds;
        text += QStringLiteral(", %1/s").arg(size(qint64(speed)));
        if (done < total)
            text += QStringLiteral(", %1 left").arg(duration(double(total - done) / speed));
    }
    if (done >= total)
        draw(text);
    else
        show(text);
}

void Progress::done() {
    if (!m_enabled)
        return;
    if (m_holding)
        draw(m_held);
    if (m_shown)
        m_sink(QString());
    m_shown = false;
}

}  // namespace Cli
