#pragma once

#include <QString>
#include <QtGlobal>

#include <chrono>
#include <functional>

namespace Cli {

// One line of progress on stderr, rewritten in place, when stderr is a terminal and the command is
// not quiet; silent otherwise so that pipelines and logs stay clean. The line is redrawn at most
// ten times a second, however often it changes; a change held back is drawn by the next one
// allowed, and the last is always drawn before the line is cleared.
class Progress {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    // Draws a line in place of the previous one; an empty one clears it.
    using Sink = std::function<void(const QString& line)>;

    Progress();
    explicit Progress(bool enabled);
    // Always enabled, drawing through `sink`, timed by `clock`.
    Progress(Sink sink, Clock clock);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    Progress(Progress&&) = delete;

    bool enabled() const { return m_enabled; }
    void show(const QString& text);
    // "packing NAME: 12.3 MB of 45.6 MB, 8.1 MB/s, 4 s left"; the speed counts from the first
    // call. The call that reaches the total is drawn at once.
    void showBytes(const QString& what, qint64 done, qint64 total);
    // Draws what was held back, then clears the line.
    void done();

    static constexpr std::chrono::milliseconds kInterval{100};

private:
    void draw(const QString& text);

    bool m_enabled;
    Sink m_sink;
    Clock m_clock;
    bool m_shown = false;
    bool m_drawnOnce = false;
    std::chrono::steady_clock::time_point m_lastDraw;
    QString m_held;
    bool m_holding = false;
    bool m_bytesStarted = false;
    std::chrono::steady_clock::time_point m_bytesStart;
};

}  // namespace Cli
