#include <QGuiApplication>
#include <QTextStream>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cli/commands.h"
#include "cli/message_filter.h"
#include "cli/signal_guard.h"
#include "platform/collection/collection_service.h"

int main(int argc, char** argv) {
    // Before any thread starts, so that every thread leaves the signals to the guard.
    Cli::installSignalGuard();
    Cli::installMessageFilter();
    // Images are pixmaps, which need a GUI application; the tool never shows a window.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("packwright"));
    // Answers the requests for stored items that reopening a package makes.
    EditorCollection::CollectionService collection;
    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList arguments = QGuiApplication::arguments();
    arguments.removeFirst();
    const int code = Cli::run(arguments, out, err);
    Cli::holdIfStopping();
    // What the streams above left in the C library's buffers must reach its file too.
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        if (code == 0)
            std::fprintf(stderr, "packwright: error: cannot write the output: %s\n",
                         std::strerror(errno));
        return code == 0 ? 1 : code;
    }
    if (std::fflush(stderr) != 0 || std::ferror(stderr))
        return code == 0 ? 1 : code;
    return code;
}
