#include "zip_fixture.h"

namespace {

using namespace ZipFixture;
using testing::HasSubstr;
using TestSupport::readFile;
using TestSupport::writeFile;
namespace Zip = Bundle::Zip;

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

    // A file that grows while it is being read (media is read while it is written).
    writeFile(path("growing/big.mp4"), QByteArray(1 << 20, 'b'));
    Zip::PackOptions growWhileRead;
    growWhileRead.progress = [this](double fraction) {
        QFile file(path("growing/big.mp4"));
        return fraction == 0.0 || fraction >= 0.5 ||
               (file.open(QIODevice::Append) && file.write("more") == 4);
    };
    EXPECT_THAT(
        errorFrom([&] { Zip::compressAll(path("out/pkg.qpack"), path("growing"), growWhileRead); }),
        HasSubstr("'big.mp4' changed while packing"));
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

}  // namespace
