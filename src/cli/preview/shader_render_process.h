#pragma once

#include <QByteArray>
#include <QString>
#include <memory>

#include "cli/preview/shader_renderer.h"

class QDeadlineTimer;
class QProcess;

namespace Cli::Preview {

// Renders shaders in a child process, so that a shader that never ends cannot hang the sheet: a
// render that takes longer than the time limit stops the child, and the next render starts a
// fresh one. The limit counts from the request; the child's start has a limit of its own. The child
// is this program again (`packwright preview --shader-worker`), which serves renders on its
// standard input and output until the input ends; it starts on the first render and is kept for the
// rest. Once it reports that no renderer can be made, it is not asked again. Use from one thread.
class ShaderRenderProcess {
public:
    static constexpr int kTimeLimitMs = 5000;    // a render
    static constexpr int kStartLimitMs = 30000;  // the child's start, up to its renderer
    static constexpr const char* kWorkerOption = "--shader-worker";

    // `program` is the packwright executable (default: the running one).
    explicit ShaderRenderProcess(QString program = QString(), int timeLimitMs = kTimeLimitMs);
    ~ShaderRenderProcess();
    ShaderRenderProcess(const ShaderRenderProcess&) = delete;
    ShaderRenderProcess& operator=(const ShaderRenderProcess&) = delete;

    // Starts the child without waiting for it, so that it gets ready while other work is done.
    // The first render does it otherwise.
    void start();
    ShaderRender render(const QByteArray& fragmentShader, const ShaderInputs& inputs);

    // The child's side: reads requests from standard input and writes each reply to standard
    // output until the input ends; anything else the driver prints goes to standard error.
    // Returns the exit code.
    static int serve();

private:
    // Ends the child, politely when it is idle, else at once.
    void stop(bool kill);
    // The child's next message, null when it stops first (why) or the deadline passes.
    QByteArray receive(const QDeadlineTimer& deadline, bool* timedOut, QString* why);

    QString m_program;
    int m_timeLimitMs;
    std::unique_ptr<QProcess> m_process;
    QByteArray m_received;
    bool m_ready = false;  // the child has said that it has a renderer
    QString m_absence;
};

}  // namespace Cli::Preview
