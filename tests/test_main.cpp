#include <gtest/gtest.h>

#include <QGuiApplication>

// Images are pixmaps, so every test runs inside a QGuiApplication; without a display it uses the
// offscreen platform.
int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
