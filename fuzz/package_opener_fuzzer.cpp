// Feeds bytes as a package file to the package opener, the way `inspect` reads a package (unpack
// into a fresh folder, read the description and the content file, read every add-on's stored item
// back), the way `open` reopens one (its content type and build context), and the way `verify`
// checks one. Opening may fail with an exception that names the
// problem; verifying never throws. A package that verifies clean must also open. And nothing may be
// written outside the folder that the package is unpacked into.

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

#include <cstdint>
#include <exception>
#include <optional>
#include <stdexcept>

#include "cli/package_report.h"
#include "cli/package_verifier.h"
#include "fuzz_support.h"
#include "package/extractor/extractor.h"

namespace {

// The sandbox: the package file at its top, the unpack folder a few levels down, so that an entry
// or a path that climbs out of the unpack folder lands somewhere this check sees. Removed when the
// process exits.
QTemporaryDir& sandbox() {
    static QTemporaryDir folder;
    return folder;
}

const QString kNest = QStringLiteral("a/b/c/d");

QString packageFile() {
    return sandbox().filePath(QStringLiteral("input.qpack"));
}

QString unpackFolder() {
    return sandbox().filePath(kNest + QStringLiteral("/package"));
}

// Everything in the sandbox except what lies in the unpack folder, relative to the sandbox.
QStringList outsideUnpackFolder() {
    QStringList found;
    const QDir root(sandbox().path());
    QDirIterator it(root.path(),
                    QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString relative = root.relativeFilePath(it.next());
        if (!relative.startsWith(kNest + QStringLiteral("/package/")))
            found << relative;
    }
    found.sort();
    return found;
}

void expectConfined(const char* stage) {
    static const QStringList expected = {"a", "a/b", "a/b/c", "a/b/c/d", "input.qpack"};
    QStringList found = outsideUnpackFolder();
    found.removeAll(kNest + QStringLiteral("/package"));
    if (found != expected)
        FuzzSupport::fail(QStringLiteral("%1 left files outside its folder: %2")
                              .arg(QLatin1String(stage), found.join(QStringLiteral(", "))));
}

// Reads the build context back as `open` does. An imports-only package whose first item cannot be
// read throws, naming its folder; nothing else may.
void reopen(const Package::Object& object) {
    try {
        Package::Extractor::extractContentType(&object);
    } catch (const std::runtime_error&) {
        return;
    }
    Package::Extractor::extractBuildContext(&object);
}

void removeUnpackFolder() {
    QDir(unpackFolder()).removeRecursively();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FuzzSupport::start();
    if (!sandbox().isValid() || !QDir().mkpath(sandbox().filePath(kNest)))
        FuzzSupport::fail(QStringLiteral("cannot prepare the sandbox"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QFile file(packageFile());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(reinterpret_cast<const char*>(data), qint64(size)) != qint64(size))
        FuzzSupport::fail(QStringLiteral("cannot write the package file"));
    file.close();

    bool opened = false;
    QString openError;
    std::optional<Package::Object> object;
    try {
        const Cli::PackageReport report = Cli::PackageReport::read(packageFile(), unpackFolder());
        report.toJson();
        report.toText();
        opened = true;
        object = report.object;
    } catch (const std::exception& error) {
        openError = QString::fromUtf8(error.what());
    }
    if (object)
        reopen(*object);  // outside the try: it must not throw what opening may
    expectConfined("opening");
    removeUnpackFolder();

    const Cli::PackageVerifier verifier =
        Cli::PackageVerifier::verify(packageFile(), unpackFolder());
    verifier.toJson();
    const QString verdict = verifier.toText();
    expectConfined("verifying");
    removeUnpackFolder();
    if (verifier.ok() && !opened)
        FuzzSupport::fail(
            QStringLiteral("verified clean but does not open: %1\n%2").arg(openError, verdict));
    return 0;
}
