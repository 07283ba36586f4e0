#include <gtest/gtest.h>

#include <QGuiApplication>
#include <cstdio>

// Images are pixmaps, so every test runs inside a QGuiApplication; without a display it uses the
// offscreen platform.
namespace {

void filterMessages(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (message.startsWith(QLatin1String("QStandardPaths:")))
        return;
    std::fprintf(stderr, "%s\n",
                 qFormatLogMessage(type, context, message).toLocal8Bit().constData());
}

}  // namespace

int main(int argc, char** argv) {
    qInstallMessageHandler(filterMessages);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
