// Feeds bytes to the timeline file reader: reading must end in a timeline or in Cli::Error. A
// timeline that was read must write back into a file that reads again into a timeline that writes
// the same bytes, and nothing the writer leaves out may be left out silently on the second pass.

#include <cstdint>

#include "cli/cli_error.h"
#include "cli/timeline_file.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FuzzSupport::start();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    const QString path = QStringLiteral("/fuzz/timeline.json");
    Timeline::Object first;
    try {
        first = Cli::TimelineFile::parse(bytes, path);
    } catch (const Cli::Error&) {
        return 0;
    }
    QStringList omitted;
    const QByteArray written = Cli::TimelineFile::write(first, &omitted);
    Timeline::Object second;
    try {
        second = Cli::TimelineFile::parse(written, path);
    } catch (const Cli::Error& error) {
        FuzzSupport::fail(QStringLiteral("a written timeline does not read back: %1\n%2")
                              .arg(QString::fromUtf8(error.what()), QString::fromUtf8(written)));
    }
    QStringList omittedAgain;
    if (Cli::TimelineFile::write(second, &omittedAgain) != written)
        FuzzSupport::fail(QStringLiteral("a timeline read back writes other bytes:\n%1")
                              .arg(QString::fromUtf8(written)));
    if (!omittedAgain.isEmpty())
        FuzzSupport::fail(QStringLiteral("writing what was written leaves out: %1")
                              .arg(omittedAgain.join(QStringLiteral("; "))));
    return 0;
}
