#include "cli/preview/shader_render_process.h"

#include <unistd.h>

#include <QCoreApplication>
#include <QDataStream>
#include <QDeadlineTimer>
#include <QProcess>
#include <QtEndian>
#include <cerrno>

namespace Cli::Preview {
namespace {

// Messages are a 4-byte big-endian length and a QDataStream of that many bytes.
constexpr QDataStream::Version kStreamVersion = QDataStream::Qt_5_12;
// A request holds three pictures within the limits of a package's images; nothing near this.
constexpr quint32 kMaxMessage = 1u << 30;

QByteArray framed(const QByteArray& payload) {
    QByteArray message(4, '\0');
    qToBigEndian(quint32(payload.size()), message.data());
    return message + payload;
}

// The payload of the first whole message in `buffer`, taken out of it; null while incomplete.
QByteArray takeMessage(QByteArray& buffer) {
    if (buffer.size() < 4)
        return QByteArray();
    const quint32 length = qFromBigEndian<quint32>(buffer.constData());
    if (quint32(buffer.size() - 4) < length)
        return QByteArray();
    QByteArray payload = buffer.mid(4, int(length));
    buffer.remove(0, int(length) + 4);
    return payload;
}

bool readExactly(int fd, char* data, size_t size) {
    while (size > 0) {
        const ssize_t got = ::read(fd, data, size);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        data += got;
        size -= size_t(got);
    }
    return true;
}

bool writeAll(int fd, const QByteArray& bytes) {
    const char* data = bytes.constData();
    size_t size = size_t(bytes.size());
    while (size > 0) {
        const ssize_t put = ::write(fd, data, size);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        data += put;
        size -= size_t(put);
    }
    return true;
}

}  // namespace

ShaderRenderProcess::ShaderRenderProcess(QString program, int timeLimitMs)
    : m_program(program.isEmpty() ? QCoreApplication::applicationFilePath() : std::move(program)),
      m_timeLimitMs(timeLimitMs) {}

ShaderRenderProcess::~ShaderRenderProcess() {
    stop(false);
}

void ShaderRenderProcess::stop(bool kill) {
    if (!m_process)
        return;
    if (kill) {
        m_process->kill();
    } else {
        // The end of its input ends the child.
        m_process->closeWriteChannel();
        if (!m_process->waitForFinished(1000))
            m_process->kill();
    }
    m_process->waitForFinished(1000);
    m_process.reset();
    m_received.clear();
    m_ready = false;
}

void ShaderRenderProcess::start() {
    if (m_process || !m_absence.isEmpty())
        return;
    m_process = std::make_unique<QProcess>();
    m_process->setStandardErrorFile(QProcess::nullDevice());
    m_process->start(m_program, {QStringLiteral("preview"), QLatin1String(kWorkerOption)});
}

QByteArray ShaderRenderProcess::receive(const QDeadlineTimer& deadline, bool* timedOut,
                                        QString* why) {
    *timedOut = false;
    for (;;) {
        m_received += m_process->readAllStandardOutput();
        QByteArray message = takeMessage(m_received);
        if (!message.isNull())
            return message;
        if (m_process->error() == QProcess::FailedToStart) {
            *why = QStringLiteral("cannot start %1: %2").arg(m_program, m_process->errorString());
            return QByteArray();
        }
        if (m_process->state() == QProcess::NotRunning) {
            *why = QStringLiteral("the renderer stopped (%1)")
                       .arg(m_process->exitStatus() == QProcess::CrashExit
                                ? QStringLiteral("it crashed")
                                : QStringLiteral("exit code %1").arg(m_process->exitCode()));
            return QByteArray();
        }
        if (deadline.hasExpired()) {
            *timedOut = true;
            return QByteArray();
        }
        if (m_process->state() == QProcess::Starting)
            m_process->waitForStarted(int(deadline.remainingTime()));
        else if (m_process->bytesToWrite() > 0)
            m_process->waitForBytesWritten(int(deadline.remainingTime()));
        else
            m_process->waitForReadyRead(int(deadline.remainingTime()));
    }
}

ShaderRender ShaderRenderProcess::render(const QByteArray& fragmentShader,
                                         const ShaderInputs& inputs) {
    ShaderRender result;
    bool timedOut = false;
    start();
    if (!m_ready && m_absence.isEmpty()) {
        // The child first says whether it has a renderer; its start does not count against the
        // time limit of a render.
        const QByteArray hello = receive(QDeadlineTimer(kStartLimitMs), &timedOut, &result.log);
        QDataStream in(hello);
        in.setVersion(kStreamVersion);
        QString absence;
        in >> absence;
        if (hello.isNull() || in.status() != QDataStream::Ok) {
            if (timedOut)
                result.log = QStringLiteral("the renderer is not ready after %1 s")
                                 .arg(kStartLimitMs / 1000);
            stop(true);
            return result;
        }
        m_ready = true;
        if (!absence.isEmpty()) {
            m_absence = absence;
            stop(false);
        }
    }
    if (!m_absence.isEmpty()) {
        result.status = ShaderRender::Unavailable;
        result.log = m_absence;
        return result;
    }

    QByteArray request;
    QDataStream out(&request, QIODevice::WriteOnly);
    out.setVersion(kStreamVersion);
    out << fragmentShader << inputs.source << inputs.target << inputs.auxImage << inputs.intensity
        << inputs.progress << inputs.time;
    m_process->write(framed(request));
    const QByteArray reply = receive(QDeadlineTimer(m_timeLimitMs), &timedOut, &result.log);
    if (reply.isNull()) {
        // The software rasteriser cannot be interrupted: the child goes.
        if (timedOut)
            result.log = QStringLiteral("not finished after %1 s; does it loop forever?")
                             .arg(m_timeLimitMs / 1000.0);
        stop(true);
        return result;
    }

    QDataStream in(reply);
    in.setVersion(kStreamVersion);
    qint32 status = ShaderRender::Failed;
    in >> status >> result.image >> result.log;
    if (in.status() != QDataStream::Ok || status < ShaderRender::Rendered ||
        status > ShaderRender::Failed) {
        stop(true);
        return ShaderRender{ShaderRender::Failed, QImage(),
                            QStringLiteral("the renderer's reply is unreadable")};
    }
    result.status = ShaderRender::Status(status);
    return result;
}

int ShaderRenderProcess::serve() {
    // Replies go out on a descriptor of their own, so that nothing the driver prints on standard
    // output can get into them.
    const int replies = ::dup(STDOUT_FILENO);
    if (replies < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
        return 1;
    ShaderRenderer renderer;
    // First whether there is a renderer: why not, or nothing.
    QByteArray hello;
    QDataStream greeting(&hello, QIODevice::WriteOnly);
    greeting.setVersion(kStreamVersion);
    greeting << renderer.absence();
    if (!writeAll(replies, framed(hello)))
        return 1;
    for (;;) {
        char header[4];
        if (!readExactly(STDIN_FILENO, header, sizeof header))
            return 0;
        const quint32 length = qFromBigEndian<quint32>(header);
        if (length > kMaxMessage)
            return 1;
        QByteArray request(int(length), '\0');
        if (!readExactly(STDIN_FILENO, request.data(), length))
            return 1;
        QDataStream in(request);
        in.setVersion(kStreamVersion);
        QByteArray shader;
        ShaderInputs inputs;
        in >> shader >> inputs.source >> inputs.target >> inputs.auxImage >> inputs.intensity >>
            inputs.progress >> inputs.time;
        ShaderRender render;
        if (in.status() == QDataStream::Ok)
            render = renderer.render(shader, inputs);
        else
            render.log = QStringLiteral("the request is unreadable");
        QByteArray reply;
        QDataStream out(&reply, QIODevice::WriteOnly);
        out.setVersion(kStreamVersion);
        out << qint32(render.status) << render.image << render.log;
        if (!writeAll(replies, framed(reply)))
            return 1;
    }
}

}  // namespace Cli::Preview
