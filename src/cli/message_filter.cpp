#include "cli/message_filter.h"

#include <QString>
#include <QtGlobal>
#include <cstdio>

#include "cli/terminal_text.h"
#include "cli/verbosity.h"

namespace Cli {
namespace {

void filterMessages(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (message.startsWith(QLatin1String("QStandardPaths:")))
        return;
    if (Verbosity::quiet() && type != QtCriticalMsg && type != QtFatalMsg)
        return;
    std::fprintf(stderr, "%s\n",
                 qFormatLogMessage(type, context, message).toLocal8Bit().constData());
}

}  // namespace

void installMessageFilter() {
    qInstallMessageHandler(filterMessages);
}

MediaWarnings::MediaWarnings(QTextStream& err)
    : m_previous(Media::Log::setHandler([&err](const QString& line) {
          if (!Verbosity::verbose())
              return;
          err << "packwright: warning: " << terminalSafe(line) << "\n";
          err.flush();
      })) {}

MediaWarnings::~MediaWarnings() {
    Media::Log::setHandler(std::move(m_previous));
}

}  // namespace Cli
