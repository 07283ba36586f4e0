#include "zip_fixture.h"

namespace {

using namespace ZipFixture;
using testing::HasSubstr;
using TestSupport::readFile;
using TestSupport::writeFile;
namespace Zip = Bundle::Zip;

// ---- unpacking ------------------------------------------------------------------------------

TEST_F(ZipTest, UnpacksArchivesWrittenByOtherTools) {
    writeFile(path("src/sub/data.bin"), noise(50000, 3));
    writeFile(path("src/text.xml"), xmlText(500));
    QDir().mkpath(path("src/empty"));
    QProcess zip;
    zip.setWorkingDirectory(path("src"));
    zip.start("zip", {"-q", "-r", path("tool.zip"), "."});
    ASSERT_TRUE(zip.waitForFinished());
    ASSERT_EQ(zip.exitCode(), 0);

    // An existing empty folder is filled; missing parents are created.
    QDir().mkpath(path("into"));
    Zip::extractAll(path("tool.zip"), path("into"));
    Zip::extractAll(path("tool.zip"), path("new/parents/out"));
    for (const QString& target : {path("into"), path("new/parents/out")}) {
        EXPECT_EQ(tree(target), tree(path("src")));
        EXPECT_EQ(readFile(target + "/sub/data.bin"), readFile(path("src/sub/data.bin")));
    }
}

TEST_F(ZipTest, UnpackRefusesNonZipsAndOccupiedTargets) {
    writeFile(path("notes.txt"), "this is not a zip archive at all");
    EXPECT_THAT(errorFrom([&] { Zip::extractAll(path("notes.txt"), path("out")); }),
                HasSubstr("notes.txt': not a zip archive"));
    EXPECT_THAT(errorFrom([&] { Zip::list(path("notes.txt")); }), HasSubstr("not a zip archive"));
    EXPECT_THAT(errorFrom([&] { Zip::check(path("missing.zip")); }), HasSubstr("missing.zip"));
    EXPECT_FALSE(QFileInfo::exists(path("out")));

    makeArchive(path("ok.zip"), [](zip_t* z) { addFile(z, "a.txt", "new"); });
    writeFile(path("full/a.txt"), "old");
    EXPECT_THAT(errorFrom([&] { Zip::extractAll(path("ok.zip"), path("full")); }),
                HasSubstr("not an empty folder"));
    EXPECT_EQ(readFile(path("full/a.txt")), "old");
}

TEST_F(ZipTest, DamagedDataFailsTheCrcAndLeavesNothing) {
    const QByteArray payload(4000, 'p');
    makeArchive(path("bad.zip"), [&](zip_t* z) {
        addFile(z, "first.txt", "fine");
        const zip_int64_t index = addFile(z, "payload.bin", payload);
        zip_set_file_compression(z, zip_uint64_t(index), ZIP_CM_STORE, 0);
    });
    QByteArray bytes = readFile(path("bad.zip"));
    bytes[bytes.indexOf(payload) + 1000] = 'X';
    writeFile(path("bad.zip"), bytes);

    EXPECT_THAT(errorFrom([&] { Zip::extractAll(path("bad.zip"), path("out")); }),
                HasSubstr("'payload.bin' is damaged"));
    EXPECT_EQ(tree(dir.path()), QStringList({"bad.zip"}));
    const QStringList problems = Zip::check(path("bad.zip"));
    ASSERT_EQ(problems.size(), 1);
    EXPECT_THAT(problems.first().toStdString(), HasSubstr("'payload.bin'"));

    // Asked to, the unpack leaves the damaged entry out, keeps the rest and names what it left.
    QStringList damaged;
    Zip::extractAll(path("bad.zip"), path("out"), {}, &damaged);
    EXPECT_EQ(damaged, QStringList{"payload.bin"});
    EXPECT_EQ(tree(dir.path()), QStringList({"bad.zip", "out/", "out/first.txt"}));
    const std::vector<Zip::Problem> entries = Zip::checkEntries(path("bad.zip"));
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries.front().entry, QStringLiteral("payload.bin"));
}

// ---- hostile archives -----------------------------------------------------------------------

// Unpacks into <tmp>/box/out, so that an escape would land in box/ or tmp/, and checks that the
// archive was refused naming `entry` and giving `reason`, and that nothing was written anywhere.
void expectRefused(const QTemporaryDir& dir, const QString& archive, const QString& entry,
                   const std::string& reason, const Zip::ExtractLimits& limits = {}) {
    QDir().mkpath(dir.filePath("box"));
    const QStringList before = tree(dir.path());
    const std::string error =
        errorFrom([&] { Zip::extractAll(archive, dir.filePath("box/out"), limits); });
    EXPECT_THAT(error, HasSubstr(archive.toStdString()));
    EXPECT_THAT(error, HasSubstr(("entry '" + entry + "' ").toStdString() + reason));
    EXPECT_EQ(tree(dir.path()), before) << error;
    EXPECT_FALSE(QFileInfo::exists("/abs"));
}

TEST_F(ZipTest, RefusesUnsafeNames) {
    const std::pair<const char*, std::string> cases[] = {
        {"../evil", "has a '..' component"},    {"a/../../x", "has a '..' component"},
        {"sub/..", "has a '..' component"},     {"/abs", "is an absolute path"},
        {"C:/x", "starts with a drive letter"}, {"c:x", "starts with a drive letter"},
        {"a\\b", "holds a backslash"},          {"a//b", "has an empty path component"},
        {"./a", "has a '.' component"},         {"a/./b/", "has a '.' component"}};
    for (const auto& [caseName, reason] : cases) {
        const char* name = caseName;  // lambdas cannot capture a structured binding in C++17
        SCOPED_TRACE(name);
        const QString archive = path("names.zip");
        makeArchive(archive, [&](zip_t* z) {
            addFile(z, "fine.txt", "fine");
            addFile(z, name, "evil");
        });
        expectRefused(dir, archive, name, reason);
        EXPECT_THAT(Zip::check(archive).join('\n').toStdString(), HasSubstr(name));
    }
}

TEST_F(ZipTest, RefusesLinksAndSpecialFiles) {
    const std::pair<quint32, std::string> cases[] = {{0120000, "is a symbolic link"},
                                                     {0010000, "is a special file"},
                                                     {0020000, "is a special file"}};
    for (const auto& [caseType, reason] : cases) {
        const quint32 type = caseType;  // lambdas cannot capture a structured binding in C++17
        const QString archive = path("special.zip");
        makeArchive(archive, [&](zip_t* z) {
            const zip_int64_t index = addFile(z, "special", "/etc/passwd");
            zip_file_set_external_attributes(z, zip_uint64_t(index), 0, ZIP_OPSYS_UNIX,
                                             (type | 0777) << 16);
            addFile(z, "special-later.txt", "x");
        });
        expectRefused(dir, archive, "special", reason);
    }
}

TEST_F(ZipTest, RefusesDuplicatesAndFileFolderClashes) {
    // libzip will not write a duplicate, so write two names and make them equal afterwards.
    makeArchive(path("dup.zip"), [](zip_t* z) {
        addFile(z, "same.txt", "one");
        addFile(z, "SAME.txt", "two");
    });
    QByteArray bytes = readFile(path("dup.zip"));
    bytes.replace("SAME.txt", "same.txt");
    writeFile(path("dup.zip"), bytes);
    expectRefused(dir, path("dup.zip"), "same.txt", "appears twice");

    makeArchive(path("clash.zip"), [](zip_t* z) {
        addFile(z, "a", "a file");
        addFile(z, "a/b.txt", "below the file");
    });
    expectRefused(dir, path("clash.zip"), "a/b.txt", "lies below 'a', which is a file");
    makeArchive(path("clash2.zip"), [](zip_t* z) {
        addFile(z, "a/b.txt", "makes a a folder");
        addFile(z, "a", "then a file");
    });
    expectRefused(dir, path("clash2.zip"), "a", "is a file and a folder");
}

TEST_F(ZipTest, StopsZipBombsByCountingWhatIsWritten) {
    const QByteArray zeros(64 << 20, '\0');
    makeArchive(path("bomb.zip"), [&](zip_t* z) {
        addFile(z, "small.txt", "ok");
        addFile(z, "zeros.bin", zeros);
    });
    Zip::ExtractLimits entryLimit;
    entryLimit.maxEntryBytes = 4 << 20;
    expectRefused(dir, path("bomb.zip"), "zeros.bin", "is larger than the limit", entryLimit);
    Zip::ExtractLimits ratioLimit;
    ratioLimit.maxRatio = 100;
    expectRefused(dir, path("bomb.zip"), "zeros.bin", "expands more than 100 times", ratioLimit);

    const QByteArray twoMiB(2 << 20, 'z');
    makeArchive(path("many.zip"), [&](zip_t* z) {
        for (const char* name : {"1.bin", "2.bin", "3.bin"})
            addFile(z, name, twoMiB);
    });
    Zip::ExtractLimits totalLimit;
    totalLimit.maxTotalBytes = 5 << 20;
    totalLimit.maxRatio = 1e9;  // each run of 'z' expands 1023 times, a bomb by the default
    expectRefused(dir, path("many.zip"), "3.bin", "takes the archive over the limit", totalLimit);
    Zip::ExtractLimits entryCount;
    entryCount.maxEntries = 2;
    EXPECT_THAT(errorFrom([&] { Zip::extractAll(path("many.zip"), path("out"), entryCount); }),
                HasSubstr("3 entries"));

    // Headers that claim 10 bytes for 4 MiB: only counting the output catches it.
    makeArchive(path("liar.zip"), [&](zip_t* z) { addFile(z, "liar.bin", zeros.left(4 << 20)); });
    QByteArray bytes = readFile(path("liar.zip"));
    const QByteArray claimed("\x0a\0\0\0", 4);  // 10, little-endian
    bytes.replace(22, 4, claimed);              // in the local header
    bytes.replace(bytes.indexOf(QByteArray("PK\x01\x02", 4)) + 24, 4, claimed);  // central
    writeFile(path("liar.zip"), bytes);
    ASSERT_EQ(Zip::list(path("liar.zip")).front().size, 10);
    Zip::ExtractLimits liarEntry;
    liarEntry.maxRatio = 1e9;
    liarEntry.maxEntryBytes = 1 << 20;
    expectRefused(dir, path("liar.zip"), "liar.bin", "unpacks to more than the limit", liarEntry);
    Zip::ExtractLimits liarTotal;
    liarTotal.maxRatio = 1e9;
    liarTotal.maxTotalBytes = 1 << 20;
    expectRefused(dir, path("liar.zip"), "liar.bin", "takes the archive over the limit", liarTotal);
    // Checking counts as unpacking does: the zeros are a bomb, unless the ratio is let through.
    EXPECT_THAT(Zip::check(path("liar.zip")).join('\n').toStdString(),
                HasSubstr("'liar.bin' expands more than 1000 times"));
    Zip::ExtractLimits anyRatio;
    anyRatio.maxRatio = 1e9;
    EXPECT_THAT(Zip::check(path("liar.zip"), anyRatio).join('\n').toStdString(),
                HasSubstr("'liar.bin' holds 4194304 bytes"));
}

}  // namespace
