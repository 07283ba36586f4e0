#include <QGuiApplication>
#include <QTextStream>
#include <cstdio>

#include "cli/commands.h"
#include "cli/message_filter.h"

int main(int argc, char** argv) {
    Cli::installMessageFilter();
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
