#include "platform/media/media_log.h"

#include <cstdarg>
#include <mutex>

#include "platform/media/av_support.h"

namespace Media {
namespace {

std::mutex& lock() {
    static std::mutex mutex;
    return mutex;
}

// Guarded by lock().
Log::Handler& handler() {
    static Log::Handler current;
    return current;
}
QByteArray& pendingLine() {
    static QByteArray pending;
    return pending;
}
int& printPrefix() {
    static int print = 1;
    return print;
}

void emitLine(QByteArray line) {
    for (char& c : line) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '?';
    }
    if (!line.trimmed().isEmpty())
        handler()(QString::fromUtf8(line));
}

void logCallback(void* object, int level, const char* format, va_list arguments) {
    // Information and debugging output is dropped before it costs any formatting.
    if (level > AV_LOG_WARNING)
        return;
    const std::lock_guard<std::mutex> guard(lock());
    if (!handler())
        return;
    char text[1024];
    va_list copy;
    va_copy(copy, arguments);
    av_log_format_line2(object, level, format, copy, text, sizeof text, &printPrefix());
    va_end(copy);
    // FFmpeg may write a line in several calls; only whole lines go out.
    QByteArray& pending = pendingLine();
    pending += text;
    for (int end = pending.indexOf('\n'); end >= 0; end = pending.indexOf('\n')) {
        QByteArray line = pending.left(end);
        pending.remove(0, end + 1);
        if (line.endsWith('\r'))
            line.chop(1);
        emitLine(line);
    }
}

}  // namespace

Log::Handler Log::setHandler(Handler replacement) {
    install();
    const std::lock_guard<std::mutex> guard(lock());
    pendingLine().clear();
    printPrefix() = 1;
    Handler previous = std::move(handler());
    handler() = std::move(replacement);
    return previous;
}

void Log::install() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(logCallback); });
}

}  // namespace Media
