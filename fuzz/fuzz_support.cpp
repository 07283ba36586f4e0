#include "fuzz_support.h"

#include <QGuiApplication>
#include <cstdio>
#include <cstdlib>

#include "package/type_registration.h"

namespace FuzzSupport {

void start() {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Qt would take its own options out of libFuzzer's command line; it gets none.
    static int argc = 1;
    static char name[] = "fuzzer";
    static char* argv[] = {name, nullptr};
    static QGuiApplication application(argc, argv);
    Package::registerTypes();
}

void fail(const QString& what) {
    std::fprintf(stderr, "fuzz property broken: %s\n", what.toLocal8Bit().constData());
    std::abort();
}

}  // namespace FuzzSupport
