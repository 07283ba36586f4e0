#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QTemporaryDir>
#include <cstdio>

#include "cli/message_filter.h"
#include "platform/collection/collection_service.h"

// Images are pixmaps, so every test runs inside a QGuiApplication; without a display it uses the
// offscreen platform.
int main(int argc, char** argv) {
    Cli::installMessageFilter();
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    // The content checks keep their findings in a cache of this run's own, not in the user's.
    QTemporaryDir cache;
    qputenv("XDG_CACHE_HOME", cache.path().toUtf8());
    // Reopening packages loads their stored items through the collection, as in the editor.
    EditorCollection::CollectionService collection;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
