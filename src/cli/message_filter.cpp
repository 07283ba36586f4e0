#include "cli/message_filter.h"

#include <QString>
#include <QtGlobal>
#include <cstdio>

namespace Cli {
namespace {

void filterMessages(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (message.startsWith(QLatin1String("QStandardPaths:")))
        return;
    std::fprintf(stderr, "%s\n",
                 qFormatLogMessage(type, context, message).toLocal8Bit().constData());
}

}  // namespace

void installMessageFilter() {
    qInstallMessageHandler(filterMessages);
}

}  // namespace Cli
