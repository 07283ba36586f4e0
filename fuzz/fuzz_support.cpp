#include "fuzz_support.h"

#include <QGuiApplication>
#include <cstdio>
#include <cstdlib>

#include "package/type_registration.h"
#include "platform/collection/collection_service.h"

namespace FuzzSupport {

void start() {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Qt would take its own options out of libFuzzer's command line; it gets none.
    static int argc = 1;
    static char name[] = "fuzzer";
    static char* argv[] = {name, nullptr};
    static QGuiApplication application(argc, argv);
    Package::registerTypes();
    // Reopening loads stored items through the collection service, as in the tool.
    static EditorCollection::CollectionService collection;
}

void fail(const QString& what) {
    std::fprintf(stderr, "fuzz property broken: %s\n", what.toLocal8Bit().constData());
    std::abort();
}

}  // namespace FuzzSupport
