// A real disk that is too small: the tool builds onto a tmpfs of a few hundred kilobytes, mounted
// in a mount namespace of its own so that nothing else on the machine sees it.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include "test_support.h"

namespace {

TEST(FullDisk, BuildFailsNamingTheFileAndLeavesNothing) {
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    // Random bytes do not compress: the package needs as much room again as the working copy.
    QByteArray media(1 << 20, '\0');
    QRandomGenerator generator(12);
    for (char& byte : media)
        byte = char(generator.generate());
    TestSupport::writeFile(root.filePath("src/big.dat"), media);
    TestSupport::writeFile(root.filePath("src/recipe.json"), R"({"name": "Big", "components": [
        {"kind": "import", "title": "Big", "file": "big.dat", "importKind": "other"}]})");
    const QString disk = root.filePath("disk");
    ASSERT_TRUE(QDir().mkpath(disk));

    // Too small for the copy of the media, and too small for the package beside the copy.
    const struct {
        const char* size;
        const char* failing;  // the file that the message names
    } cases[] = {{"512k", "/tmp/"}, {"1600k", "/out/big.qpack"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.size);
        const QString script =
            QStringLiteral(
                R"(mount -t tmpfs -o size=%1 packwright-test "$1" 2>"$2/mount.err" || exit 77
mkdir "$1/tmp" "$1/out" && mkdir -m 700 "$2/runtime"
XDG_RUNTIME_DIR="$2/runtime" TMPDIR="$1/tmp" "$3" build "$2/src/recipe.json" -o "$1/out/big.qpack" --strict >"$2/build.out" 2>"$2/build.err"
echo $? >"$2/build.code"
ls -A "$1/tmp" "$1/out" >"$2/left.txt"
rmdir "$2/runtime"
)")
                .arg(QLatin1String(c.size));
        QString output;
        const int code = TestSupport::run(
            QStringLiteral("unshare"),
            {QStringLiteral("--mount"), QStringLiteral("--propagation"), QStringLiteral("private"),
             QStringLiteral("sh"), QStringLiteral("-c"), script, QStringLiteral("sh"), disk,
             root.path(), QStringLiteral(PACKWRIGHT_TOOL)},
            &output);
        if (code != 0)
            GTEST_SKIP() << "cannot mount a tmpfs here (needs root and a mount namespace): "
                         << output.toStdString()
                         << TestSupport::readFile(root.filePath("mount.err")).toStdString();
        const QString errors =
            QString::fromLocal8Bit(TestSupport::readFile(root.filePath("build.err")));
        EXPECT_EQ(TestSupport::readFile(root.filePath("build.code")).trimmed(), "1")
            << errors.toStdString();
        EXPECT_TRUE(errors.startsWith(QStringLiteral("packwright: error: ")) &&
                    errors.contains(QStringLiteral("cannot ")))
            << errors.toStdString();
        EXPECT_TRUE(errors.contains(disk + QLatin1String(c.failing))) << errors.toStdString();
        EXPECT_TRUE(errors.contains(QStringLiteral("No space left on device")))
            << errors.toStdString();
        EXPECT_EQ(errors.count(QLatin1Char('\n')), 1) << errors.toStdString();
        // `ls -A` of the two folders prints only their headers and a blank line between them.
        EXPECT_EQ(TestSupport::readFile(root.filePath("left.txt")).toStdString(),
                  QStringLiteral("%1/out:\n\n%1/tmp:\n").arg(disk).toStdString());
    }
}

}  // namespace
