#include "platform/bundle/zip.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>

#include "fault_env.h"
#include "platform/fs/fs_error.h"
#include "platform/fs/temporary_paths.h"
#include "test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zip.h>

#include <sys/stat.h>
#include <sys/time.h>

#include <cstdlib>
#include <cstring>
#include <functional>

namespace {

using testing::HasSubstr;
using TestSupport::readFile;
using TestSupport::writeFile;
namespace Zip = Bundle::Zip;

QByteArray noise(int size, quint32 seed) {
    QRandomGenerator generator(seed);
    QByteArray data(size, Qt::Uninitialized);
    for (char& c : data)
        c = char(generator.generate());
    return data;
}

QByteArray xmlText(int lines) {
    QByteArray text = "<?xml version=\"1.0\"?>\n<clips>\n";
    for (int i = 0; i < lines; ++i)
        text += "  <clip id=\"" + QByteArray::number(i) + "\" start=\"" +
                QByteArray::number(i * 40) + "\"/>\n";
    return text + "</clips>\n";
}

// Everything below `root`, relative, folders with a trailing "/", links not followed.
QStringList tree(const QString& root) {
    QStringList names;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QString name = QDir(root).relativeFilePath(it.filePath());
        names << (it.fileInfo().isDir() && !it.fileInfo().isSymLink() ? name + "/" : name);
    }
    names.sort();
    return names;
}

// Callers catch Bundle::Error, so nothing else may come out.
std::string errorFrom(const std::function<void()>& action) {
    return TestSupport::errorFrom<Bundle::Error>(action);
}

// Writes an archive with libzip directly, as any other tool (or an attacker) might.
void makeArchive(const QString& path, const std::function<void(zip_t*)>& fill) {
    int code = 0;
    zip_t* archive =
        zip_open(QFile::encodeName(path).constData(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    ASSERT_NE(archive, nullptr);
    fill(archive);
    ASSERT_EQ(zip_close(archive), 0) << zip_strerror(archive);
}

zip_int64_t addFile(zip_t* archive, const char* name, const QByteArray& data) {
    void* copy = std::malloc(size_t(std::max(data.size(), 1)));
    std::memcpy(copy, data.constData(), size_t(data.size()));
    zip_source_t* source = zip_source_buffer(archive, copy, zip_uint64_t(data.size()), 1);
    const zip_int64_t index = zip_file_add(archive, name, source, 0);
    EXPECT_GE(index, 0) << name << ": " << zip_strerror(archive);
    return index;
}

class ZipTest : public testing::Test {
protected:
    QString path(const QString& relative) const { return dir.filePath(relative); }

    // A small project folder: media (stored), text (deflated), an empty and a nested folder.
    void makeSourceTree() {
        writeFile(path("src/media/clip.MP4"), noise(300 * 1024, 1));
        writeFile(path("src/media/still.png"), noise(20 * 1024, 2));
        writeFile(path("src/project.xml"), xmlText(3000));
        writeFile(path("src/deep/a/b/notes.txt"), "notes\n");
        writeFile(path("src/.hidden"), "h");
        writeFile(path("src/zero.txt"), QByteArray());
        writeFile(path("src/Résumé ü.txt"), "accents");
        QDir().mkpath(path("src/empty"));
    }

    QTemporaryDir dir;
};

// ---- packing --------------------------------------------------------------------------------

TEST_F(ZipTest, PackedTreeListsSortedStoresMediaAndUnpacksIdentically) {
    makeSourceTree();
    Zip::compressAll(path("out.qpack"), path("src"));

    QStringList names;
    for (const Zip::Entry& entry : Zip::list(path("out.qpack"))) {
        names << entry.name;
        EXPECT_EQ(entry.isDirectory, entry.name.endsWith('/')) << entry.name.toStdString();
        if (entry.name.startsWith("media/") && !entry.isDirectory) {
            EXPECT_TRUE(entry.stored) << entry.name.toStdString();
            EXPECT_EQ(entry.compressedSize, entry.size);
        }
        if (entry.name == "project.xml") {
            EXPECT_FALSE(entry.stored);
            EXPECT_LT(entry.compressedSize, entry.size / 4);
            EXPECT_EQ(entry.size, readFile(path("src/project.xml")).size());
        }
    }
    EXPECT_EQ(names, QStringList({".hidden", "Résumé ü.txt", "deep/", "deep/a/", "deep/a/b/",
                                  "deep/a/b/notes.txt", "empty/", "media/", "media/clip.MP4",
                                  "media/still.png", "project.xml", "zero.txt"}));
    EXPECT_TRUE(Zip::check(path("out.qpack")).isEmpty());

    Zip::extractAll(path("out.qpack"), path("unpacked"));
    ASSERT_EQ(tree(path("unpacked")), tree(path("src")));
    for (const QString& name : tree(path("src"))) {
        if (!name.endsWith('/')) {
            EXPECT_EQ(readFile(path("unpacked/" + name)), readFile(path("src/" + name)))
                << name.toStdString();
        }
    }
}

TEST_F(ZipTest, PackageIsAcceptedByUnzipAndIsReproducible) {
    makeSourceTree();
    // Entries carry the times of their files and folders, not the time of packing.
    const time_t then = 978350400;  // 2001-01-01 12:00 UTC
    const struct timeval times[2] = {{then, 0}, {then, 0}};
    for (const QString& name : tree(path("src")))
        ASSERT_EQ(::utimes(QFile::encodeName(path("src/" + name)).constData(), times), 0);
    Zip::compressAll(path("one.qpack"), path("src"));
    Zip::compressAll(path("two.qpack"), path("src"));
    EXPECT_EQ(readFile(path("one.qpack")), readFile(path("two.qpack")));
    int code = 0;
    zip_t* archive = zip_open(QFile::encodeName(path("one.qpack")).constData(), ZIP_RDONLY, &code);
    ASSERT_NE(archive, nullptr);
    for (zip_int64_t i = 0; i < zip_get_num_entries(archive, 0); ++i) {
        zip_stat_t st;
        ASSERT_EQ(zip_stat_index(archive, zip_uint64_t(i), 0, &st), 0);
        EXPECT_LE(std::abs(st.mtime - then), 2) << st.name;  // DOS times have 2 s steps
    }
    zip_discard(archive);

    QProcess unzip;
    unzip.start("unzip", {"-tq", path("one.qpack")});
    ASSERT_TRUE(unzip.waitForFinished());
    EXPECT_EQ(unzip.exitCode(), 0) << unzip.readAll().toStdString();
}

TEST_F(ZipTest, PackingSkipsLinksAndThePackageItself) {
    writeFile(path("outside/secret.txt"), "secret");
    writeFile(path("src/real.txt"), "real");
    ASSERT_TRUE(QFile::link(path("outside/secret.txt"), path("src/file-link.txt")));
    ASSERT_TRUE(QFile::link(path("outside"), path("src/folder-link")));
    Zip::compressAll(path("src/self.qpack"), path("src"));
    Zip::compressAll(path("src/self.qpack"), path("src"));  // the first package is now inside

    QStringList names;
    for (const Zip::Entry& entry : Zip::list(path("src/self.qpack")))
        names << entry.name;
    EXPECT_EQ(names, QStringList({"real.txt"}));
}

TEST_F(ZipTest, EmptyFolderPacksToAnEmptyArchive) {
    QDir().mkpath(path("src"));
    Zip::compressAll(path("empty.qpack"), path("src"));
    EXPECT_TRUE(Zip::list(path("empty.qpack")).empty());
    EXPECT_TRUE(Zip::check(path("empty.qpack")).isEmpty());
    Zip::extractAll(path("empty.qpack"), path("out"));
    EXPECT_TRUE(QFileInfo(path("out")).isDir());
    EXPECT_TRUE(tree(path("out")).isEmpty());
}

TEST_F(ZipTest, ProgressRisesFromZeroToOne) {
    makeSourceTree();
    QDir().mkpath(path("folders-only/a/b"));
    for (const QString& folder : {path("src"), path("folders-only")}) {
        std::vector<double> seen;
        Zip::PackOptions options;
        options.progress = [&](double fraction) {
            seen.push_back(fraction);
            return true;
        };
        Zip::compressAll(path("out.qpack"), folder, options);
        ASSERT_GE(seen.size(), 2u);
        EXPECT_EQ(seen.front(), 0.0);
        EXPECT_EQ(seen.back(), 1.0);
        EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    }
}

TEST_F(ZipTest, FailedPackLeavesNoFileAndKeepsTheOldPackage) {
    makeSourceTree();
    writeFile(path("out/pkg.qpack"), "the previous package");
    const QStringList before = tree(path("out"));

    // Cancelled at the start, half-way, and by a file that disappears after it was listed.
    Zip::PackOptions cancelAtOnce;
    cancelAtOnce.progress = [](double) { return false; };
    Zip::PackOptions cancelHalfWay;
    cancelHalfWay.progress = [](double fraction) { return fraction < 0.5; };
    Zip::PackOptions growAFile;
    growAFile.progress = [this](double) {
        QFile file(path("src/zero.txt"));  // sorts last, so it is read after this call
        return file.open(QIODevice::Append) && file.write("grown") == 5;
    };
    Zip::PackOptions removeAFile;
    removeAFile.progress = [this](double) {
        QFile::remove(path("src/zero.txt"));
        return true;
    };
    const std::pair<Zip::PackOptions, const char*> cases[] = {
        {cancelAtOnce, "cancelled"},
        {cancelHalfWay, "cancelled"},
        {growAFile, "'zero.txt' changed while packing"},
        {removeAFile, "cannot open 'zero.txt'"}};
    for (const auto& c : cases) {
        writeFile(path("src/zero.txt"), "");
        const std::string error =
            errorFrom([&] { Zip::compressAll(path("out/pkg.qpack"), path("src"), c.first); });
        EXPECT_THAT(error, HasSubstr("pkg.qpack"));
        EXPECT_THAT(error, HasSubstr(c.second));
        EXPECT_EQ(tree(path("out")), before);
        EXPECT_EQ(readFile(path("out/pkg.qpack")), "the previous package");
    }

    // A file that grows while it is being read.
    writeFile(path("growing/big.bin"), QByteArray(1 << 20, 'b'));
    Zip::PackOptions growWhileRead;
    growWhileRead.progress = [this](double fraction) {
        QFile file(path("growing/big.bin"));
        return fraction == 0.0 || fraction >= 0.5 ||
               (file.open(QIODevice::Append) && file.write("more") == 4);
    };
    EXPECT_THAT(
        errorFrom([&] { Zip::compressAll(path("out/pkg.qpack"), path("growing"), growWhileRead); }),
        HasSubstr("'big.bin' changed while packing"));
}

TEST_F(ZipTest, AFolderPackedIntoItsOwnPathBecomesItsPackage) {
    makeSourceTree();
    const QStringList contents = tree(path("src"));

    // A failure keeps the folder as it was and leaves nothing beside it.
    Zip::PackOptions cancelHalfWay;
    cancelHalfWay.progress = [](double fraction) { return fraction < 0.5; };
    EXPECT_THAT(errorFrom([&] { Zip::compressAll(path("src"), path("src"), cancelHalfWay); }),
                HasSubstr("cancelled"));
    EXPECT_EQ(tree(path("src")), contents);
    EXPECT_EQ(tree(dir.path()).filter(QRegularExpression("^[^/]+/?$")), QStringList{"src/"});

    Zip::compressAll(path("src") + "/", path("src"));
    ASSERT_TRUE(QFileInfo(path("src")).isFile());
    EXPECT_EQ(tree(dir.path()), QStringList{"src"});  // no temporaries, no folder left aside
    Zip::extractAll(path("src"), path("unpacked"));
    EXPECT_EQ(tree(path("unpacked")), contents);
    EXPECT_EQ(readFile(path("unpacked/project.xml")), xmlText(3000));
}

TEST_F(ZipTest, PackingRefusesNamesThatCannotBeUnpacked) {
    writeFile(path("src/a\\b.txt"), "x");
    EXPECT_THAT(errorFrom([&] { Zip::compressAll(path("out.qpack"), path("src")); }),
                HasSubstr("'a\\b.txt' holds a backslash"));
    EXPECT_FALSE(QFileInfo::exists(path("out.qpack")));
    EXPECT_THAT(errorFrom([&] { Zip::compressAll(path("out.qpack"), path("missing")); }),
                HasSubstr("no such folder"));
}

// Every write, sync and rename of packing and unpacking fails in turn: each failure throws an
// FS::Error with the system's reason, and leaves everything as it was, with no temporary.
TEST_F(ZipTest, AFailingDiskLeavesEverythingAsItWas) {
    makeSourceTree();
    writeFile(path("out/old.qpack"), "the previous package");
    Zip::compressAll(path("packed.qpack"), path("src"));
    const struct {
        const char* name;
        std::function<void()> action;
        const char* named;  // what the message names
    } cases[] = {
        {"a new package", [&] { Zip::compressAll(path("out/new.qpack"), path("src")); },
         "out/new.qpack"},
        {"a package replaced", [&] { Zip::compressAll(path("out/old.qpack"), path("src")); },
         "out/old.qpack"},
        {"a folder into its own path", [&] { Zip::compressAll(path("src"), path("src")); }, "src"},
        {"an empty folder", [&] { Zip::compressAll(path("out/empty.qpack"), path("src/empty")); },
         "out/empty.qpack"},
        {"an unpack", [&] { Zip::extractAll(path("packed.qpack"), path("out/unpacked")); },
         "out/unpacked"},
    };
    TestSupport::FaultEnv env;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        env.failAt(0, 0);
        const QStringList whole = tree(dir.path());
        c.action();  // counts the operations; then put back what it made
        const int operations = env.count();
        EXPECT_GE(operations, 2);
        if (QFileInfo(path("src")).isFile()) {
            Zip::extractAll(path("src"), path("src.unpacked"));
            QFile::remove(path("src"));
            QDir().rename(path("src.unpacked"), path("src"));
        }
        for (const char* made : {"out/new.qpack", "out/empty.qpack"})
            QFile::remove(path(made));
        FS::removeAllAt(path("out/unpacked"));
        writeFile(path("out/old.qpack"), "the previous package");
        ASSERT_EQ(tree(dir.path()), whole);

        for (int code : {ENOSPC, EIO}) {
            for (int n = 1; n <= operations; ++n) {
                env.failAt(n, code);
                std::string error;
                try {
                    c.action();
                } catch (const FS::Error& e) {
                    error = e.what();
                }
                EXPECT_TRUE(env.failed()) << n;
                EXPECT_THAT(error, HasSubstr(path(c.named).toStdString()))
                    << env.failure().toStdString();
                EXPECT_THAT(error, HasSubstr(std::strerror(code))) << env.failure().toStdString();
                EXPECT_EQ(tree(dir.path()), whole) << env.failure().toStdString();
                EXPECT_EQ(readFile(path("out/old.qpack")), "the previous package");
                EXPECT_EQ(FS::TemporaryPaths::registered(), QStringList());
            }
        }
    }
}

TEST(ZipStoredByName, MediaExtensionsInAnyCase) {
    for (const char* name : {"a.mp4", "b/C.JPEG", "x.webm", "y.Opus", "pack.qpack", "z.7z"})
        EXPECT_TRUE(Zip::isStoredByName(name)) << name;
    for (const char* name : {"a.xml", "mp4", "clip.mp4/notes", "a.mp4.txt", "b.tiff"})
        EXPECT_FALSE(Zip::isStoredByName(name)) << name;
}

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
