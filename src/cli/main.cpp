#include <QGuiApplication>
#include <QTextStream>
#include <cstdio>

#include "cli/commands.h"

namespace {

// Qt's offscreen platform warns about a missing runtime folder, which says nothing about our work.
void filterMessages(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (message.startsWith(QLatin1String("QStandardPaths:")))
        return;
    std::fprintf(stderr, "%s\n",
                 qFormatLogMessage(type, context, message).toLocal8Bit().constData());
}

}  // namespace

int main(int argc, char** argv) {
    qInstallMessageHandler(filterMessages);
    // Images are pixmaps, which need a GUI application; the tool never shows a window.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("packwright"));
    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList arguments = QGuiApplication::arguments();
    arguments.removeFirst();
    return Cli::run(arguments, out, err);
}
