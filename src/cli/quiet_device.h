#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QTextStream>

namespace Cli {

// The standard error a command writes its notes and warnings to. It passes everything on at once,
// except while the command is quiet (-q): then it holds the text back, for the caller to show
// only if the command fails, so that a quiet success prints nothing and a failure still says why.
class QuietDevice : public QIODevice {
public:
    explicit QuietDevice(QTextStream& err);

    // What a quiet command wrote, now that it has failed; forgets it.
    void release();

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char* data, qint64 size) override;

private:
    QTextStream& m_err;
    QByteArray m_held;
};

}  // namespace Cli
