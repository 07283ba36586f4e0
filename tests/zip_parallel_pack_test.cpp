#include "zip_fixture.h"

#include <unistd.h>

namespace {

using namespace ZipFixture;

// LUT-like text: compressible, and different in every file.
QByteArray lutText(int lines, int seed) {
    QByteArray text = "LUT_3D_SIZE 17\n";
    for (int i = 0; i < lines; ++i)
        text += QByteArray::number(((i * 7 + seed) % 1000) / 1000.0, 'f', 6) + ' ' +
                QByteArray::number(((i * 13 + seed) % 997) / 997.0, 'f', 6) + " 0.5\n";
    return text;
}

class ParallelPackTest : public ZipTest {
protected:
    // Many text files of all sizes around media, one text file too large to deflate whole, and
    // fixed times, so that packages of it can be compared byte for byte.
    void makeMixedTree() {
        for (int i = 0; i < 24; ++i)
            writeFile(path(QString("src/luts/l%1.cube").arg(i, 2, 10, QChar('0'))),
                      lutText(50 + i * i * 40, i));
        writeFile(path("src/media/a.mp4"), noise(2 << 20, 3));
        writeFile(path("src/media/b.png"), noise(300 << 10, 4));
        writeFile(path("src/zz/huge.xml"), xmlText(300000));  // above the whole-file size
        writeFile(path("src/zz/empty.glsl"), QByteArray());
        const struct timeval times[2] = {{978350400, 0}, {978350400, 0}};
        for (const QString& name : tree(path("src")))
            ASSERT_EQ(::utimes(QFile::encodeName(path("src/" + name)).constData(), times), 0);
    }

    void pack(const QString& package, int threads) {
        Zip::PackOptions options;
        options.threads = threads;
        Zip::compressAll(path(package), path("src"), options);
    }

    static std::pair<int, QString> run(const QString& program, const QStringList& arguments,
                                       const QString& folder = QString()) {
        QProcess process;
        process.setWorkingDirectory(folder);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(program, arguments);
        if (!process.waitForFinished(120000))
            return {-1, "did not finish"};
        return {process.exitCode(), QString::fromUtf8(process.readAll())};
    }
};

TEST_F(ParallelPackTest, ManyThreadsGiveThePackageOfOneThatOtherToolsAccept) {
    makeMixedTree();
    ASSERT_GT(readFile(path("src/zz/huge.xml")).size(), 8 << 20);
    pack("one.qpack", 1);
    const QByteArray one = readFile(path("one.qpack"));
    for (int threads : {2, 3, 8}) {
        pack(QString("many%1.qpack").arg(threads), threads);
        EXPECT_TRUE(readFile(path(QString("many%1.qpack").arg(threads))) == one) << threads;
    }

    // Text deflated ahead keeps its CRC and sizes; media is stored.
    for (const Zip::Entry& entry : Zip::list(path("many8.qpack"))) {
        if (entry.isDirectory)
            continue;
        EXPECT_EQ(entry.stored, entry.name.startsWith("media/")) << entry.name.toStdString();
        EXPECT_EQ(entry.size, QFileInfo(path("src/" + entry.name)).size());
    }
    EXPECT_TRUE(Zip::check(path("many8.qpack")).isEmpty());
    Zip::extractAll(path("many8.qpack"), path("unpacked"));
    for (const QString& name : tree(path("src"))) {
        if (!name.endsWith('/')) {
            EXPECT_TRUE(readFile(path("unpacked/" + name)) == readFile(path("src/" + name)))
                << name.toStdString();
        }
    }

    const auto unzip = run("unzip", {"-tq", path("many8.qpack")});
    EXPECT_EQ(unzip.first, 0) << unzip.second.toStdString();
    const auto python = run("python3", {"-c",
                                        "import sys, zipfile\n"
                                        "z = zipfile.ZipFile(sys.argv[1])\n"
                                        "bad = z.testzip()\n"
                                        "sys.exit(bad or 0)\n",
                                        path("many8.qpack")});
    EXPECT_EQ(python.first, 0) << python.second.toStdString();

    // The same level as zip's default: no more than 1% larger than its archive of the files.
    const auto zip = run("zip", {"-r", "-q", "-n", ".mp4:.png", path("zip.zip"), "."}, path("src"));
    ASSERT_EQ(zip.first, 0) << zip.second.toStdString();
    EXPECT_LE(QFileInfo(path("many8.qpack")).size(), QFileInfo(path("zip.zip")).size() * 101 / 100);
}

// A file that disappears, whichever thread meets it first, and every write of the archive failing
// in turn: each fails the pack with the file or the system's reason and leaves no package.
TEST_F(ParallelPackTest, AFailureOnAnyThreadLeavesNoPackage) {
    makeMixedTree();
    writeFile(path("out/pkg.qpack"), "the previous package");
    const QStringList before = tree(dir.path());

    Zip::PackOptions removeALut;
    removeALut.threads = 4;
    removeALut.progress = [this](double fraction) {
        if (fraction > 0.0)
            QFile::remove(path("src/luts/l20.cube"));
        return true;
    };
    EXPECT_THAT(
        errorFrom([&] { Zip::compressAll(path("out/pkg.qpack"), path("src"), removeALut); }),
        HasSubstr("cannot open 'luts/l20.cube'"));
    EXPECT_EQ(readFile(path("out/pkg.qpack")), "the previous package");
    EXPECT_EQ(FS::TemporaryPaths::registered(), QStringList());
    writeFile(path("src/luts/l20.cube"), lutText(50 + 400 * 40, 20));
    ASSERT_EQ(tree(dir.path()), before);

    TestSupport::FaultEnv env;
    Zip::PackOptions threads;
    threads.threads = 4;
    Zip::compressAll(path("out/new.qpack"), path("src"), threads);
    const int operations = env.count();
    ASSERT_GE(operations, 10);  // the archive is written in many pieces
    QFile::remove(path("out/new.qpack"));
    for (int n = 1; n <= operations; ++n) {
        env.failAt(n, EIO);
        std::string error;
        try {
            Zip::compressAll(path("out/new.qpack"), path("src"), threads);
        } catch (const FS::Error& e) {
            error = e.what();
        }
        EXPECT_TRUE(env.failed()) << n;
        EXPECT_THAT(error, HasSubstr(std::strerror(EIO))) << env.failure().toStdString();
        EXPECT_EQ(tree(dir.path()), before) << env.failure().toStdString();
        EXPECT_EQ(FS::TemporaryPaths::registered(), QStringList());
    }
}

// The raw deflate data of an entry, as the archive holds it.
QByteArray compressedData(const QString& archive, const char* name) {
    int code = 0;
    zip_t* za = zip_open(QFile::encodeName(archive).constData(), ZIP_RDONLY, &code);
    if (!za)
        return QByteArray();
    zip_stat_t st;
    QByteArray data;
    if (zip_stat(za, name, 0, &st) == 0) {
        zip_file_t* file = zip_fopen(za, name, ZIP_FL_COMPRESSED);
        data.resize(int(st.comp_size));
        if (!file || zip_fread(file, data.data(), st.comp_size) != zip_int64_t(st.comp_size))
            data.clear();
        if (file)
            zip_fclose(file);
    }
    zip_close(za);
    return data;
}

// A text file too large to hold whole is deflated in pieces on the workers, each ending on a byte
// boundary (an empty stored block) where the next joins it: one stream that unpacks to the file.
// A change to it while its pieces are read fails the pack with its name and leaves no package.
TEST_F(ParallelPackTest, ALargeTextFileIsDeflatedInPiecesThatJoin) {
    makeMixedTree();
    const QByteArray huge = readFile(path("src/zz/huge.xml"));
    pack("one.qpack", 1);
    pack("four.qpack", 4);
    ASSERT_TRUE(readFile(path("one.qpack")) == readFile(path("four.qpack")));
    const QByteArray stream = compressedData(path("four.qpack"), "zz/huge.xml");
    ASSERT_FALSE(stream.isEmpty());
    const int joins = (huge.size() - 1) / (1 << 20);
    EXPECT_GE(joins, 8);
    EXPECT_GE(stream.count(QByteArray("\x00\x00\xff\xff", 4)), joins);
    Zip::extractAll(path("four.qpack"), path("unpacked"));
    EXPECT_TRUE(readFile(path("unpacked/zz/huge.xml")) == huge);

    Zip::PackOptions truncating;
    truncating.threads = 3;
    truncating.progress = [this](double fraction) {
        if (fraction > 0.0) {
            EXPECT_EQ(::truncate(QFile::encodeName(path("src/zz/huge.xml")).constData(), 5 << 20),
                      0);
        }
        return true;
    };
    EXPECT_THAT(errorFrom([&] { Zip::compressAll(path("out.qpack"), path("src"), truncating); }),
                HasSubstr("'zz/huge.xml' changed while packing"));
    EXPECT_FALSE(QFileInfo::exists(path("out.qpack")));
    EXPECT_EQ(FS::TemporaryPaths::registered(), QStringList());
}

}  // namespace
