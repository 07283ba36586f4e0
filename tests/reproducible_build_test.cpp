// Reproducible packages: with SOURCE_DATE_EPOCH (or --reproducible) two builds of one recipe, each
// from its own copy of the inputs, in its own folders, home, time zone and temporary area, with
// inputs of other times and permission bits, give the same bytes, and nothing of the machines
// that built them is in the package. Finalizing is stable as well, and packages built before all
// this still open, verify and finalize.

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <random>

#include "generated_recipe.h"
#include "platform/bundle/zip.h"
#include "platform/model/build_clock.h"
#include "test_support.h"

namespace {

const QString kSource = QStringLiteral(PACKWRIGHT_SOURCE_DIR);
const QString kEpoch = QStringLiteral("1700000000");  // 2023-11-14 22:13:20 UTC

// Checks every entry of a zip, and of the bundles inside it, as another zip reader sees it: sound
// data, no extra fields, one time and fixed permission bits, pictures without time or text
// chunks; and that no entry holds one of the texts given after the time (the paths of the
// machines that built it).
const char* kZipCheck = R"(
import io, sys, zipfile
path, when, forbidden = sys.argv[1], tuple(int(x) for x in sys.argv[2].split(',')), sys.argv[3:]
def check(data, where):
    z = zipfile.ZipFile(io.BytesIO(data))
    bad = z.testzip()
    assert bad is None, (where, bad)
    for i in z.infolist():
        assert i.extra == b'', (where, i.filename, i.extra)
        assert i.date_time == when, (where, i.filename, i.date_time)
        mode = i.external_attr >> 16
        assert mode == (0o40755 if i.is_dir() else 0o100644), (where, i.filename, oct(mode))
        body = z.read(i)
        for text in forbidden:
            assert text.encode() not in body and text not in i.filename, (where, i.filename, text)
        if i.filename.endswith('.bundle'):
            check(body, where + ':' + i.filename)
        if i.filename.endswith('.png'):
            at = 8
            while at < len(body):
                size, kind = int.from_bytes(body[at:at + 4], 'big'), body[at + 4:at + 8]
                assert kind not in (b'tIME', b'tEXt', b'iTXt', b'zTXt'), (where, i.filename, kind)
                at += 12 + size
check(open(path, 'rb').read(), path)
print('ok')
)";

// One machine that builds: its own folder with a copy of the inputs, home, temporary area, time
// zone and working directory.
struct Machine {
    QTemporaryDir dir;
    QString timeZone;
    QString keepWork;  // empty: the private temporary area

    QString root() const { return dir.path(); }
    QString inputs() const { return root() + "/inputs"; }

    TestSupport::ToolResult run(const QStringList& arguments, const QString& epoch = kEpoch) const {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", root() + "/home");
        environment.insert("TMPDIR", root() + "/tmp");
        environment.insert("TZ", timeZone);
        if (epoch.isEmpty())
            environment.remove("SOURCE_DATE_EPOCH");
        else
            environment.insert("SOURCE_DATE_EPOCH", epoch);
        QDir().mkpath(root() + "/home");
        QDir().mkpath(root() + "/tmp");
        QProcess process;
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(root() + "/home");
        process.start(QStringLiteral(PACKWRIGHT_TOOL), arguments);
        TestSupport::ToolResult result;
        result.code =
            process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit
                ? process.exitCode()
                : -1;
        result.output = QString::fromUtf8(process.readAllStandardOutput());
        result.errors = QString::fromUtf8(process.readAllStandardError());
        return result;
    }

    // Builds a recipe of its inputs into `<output>.qpack` of its own output folder; returns the
    // package's path.
    QString build(const QString& recipe, const QStringList& extra = {},
                  const QString& epoch = kEpoch, const QString& output = "package") const {
        const QString package = root() + "/out/" + output + ".qpack";
        QStringList arguments{"build", inputs() + "/" + recipe, "-o", package};
        if (!keepWork.isEmpty())
            arguments << "--keep-work" << root() + "/" + keepWork + "/" + output;
        const auto built = run(arguments + extra, epoch);
        EXPECT_EQ(built.code, 0) << built.errors.toStdString();
        return package;
    }
};

// Copies a folder tree, giving every file and folder the time and permission bits given.
void copyTree(const QString& from, const QString& to, const QDateTime& time,
              QFile::Permissions permissions) {
    QDir().mkpath(to);
    QDirIterator it(from, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    QStringList folders{to};
    while (it.hasNext()) {
        const QString path = it.next();
        const QString target = to + "/" + QDir(from).relativeFilePath(path);
        if (it.fileInfo().isDir()) {
            QDir().mkpath(target);
            folders << target;
            continue;
        }
        ASSERT_TRUE(QFile::copy(path, target)) << target.toStdString();
        QFile file(target);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        file.setFileTime(time, QFileDevice::FileModificationTime);
        file.close();
        file.setPermissions(permissions);
    }
    for (const QString& folder : folders) {
        QFile(folder).setPermissions(permissions | QFile::ReadOwner | QFile::WriteOwner |
                                     QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther);
    }
}

// Two machines as unlike as a build can see: paths of other lengths, time zones far apart (one
// with summer time), the private area against a kept working folder, and inputs of other times
// and bits.
struct TwoMachines {
    Machine first;
    Machine second;

    TwoMachines() {
        first.timeZone = "ABC-14";
        second.timeZone = "EST5EDT,M3.2.0,M11.1.0";
        second.keepWork = "kept/work folder";
        copyTree(kSource + "/examples", first.inputs(),
                 QDateTime::fromSecsSinceEpoch(978307200, Qt::UTC), QFile::ReadOwner);
        copyTree(kSource + "/examples", second.inputs(), QDateTime::currentDateTimeUtc(),
                 QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::WriteGroup |
                     QFile::ReadOther);
    }

    // The paths of both machines, which no package may hold.
    QStringList paths() const {
        return {first.root(), second.root(), QDir(first.root()).canonicalPath(),
                QDir(second.root()).canonicalPath(), kSource};
    }
};

QByteArray sha256(const QString& path) {
    return QCryptographicHash::hash(TestSupport::readFile(path), QCryptographicHash::Sha256)
        .toHex();
}

// Passes the zip check over a package; `when` is the entries' time as "Y,M,D,h,m,s".
void expectCleanZip(const QString& package, const QString& when, const QStringList& forbidden) {
    QString output;
    const int code = TestSupport::run(
        "python3", QStringList{"-c", kZipCheck, package, when} + forbidden, &output);
    EXPECT_EQ(code, 0) << output.toStdString();
    QString tested;
    EXPECT_EQ(TestSupport::run("unzip", {"-tq", package}, &tested), 0) << tested.toStdString();
}

// A pause long enough for a zip's two-second clock to move on, so that the second build runs at
// another time than the first.
void letTheClockMove() {
    const qint64 start = QDateTime::currentSecsSinceEpoch();
    while (QDateTime::currentSecsSinceEpoch() < start + 2)
        QThread::msleep(100);
}

QString packageId(const QString& package) {
    const QByteArray description = TestSupport::zipEntry(package, "package.xml");
    const int start = description.indexOf("<uuid>");
    return QString::fromUtf8(
        description.mid(start + 6, description.indexOf("</uuid>") - start - 6));
}

}  // namespace

TEST(ReproducibleBuild, BundledExamplesGiveTheSameBytesOnTwoMachines) {
    for (const char* recipe : {"recipe.json", "editable-title.json", "title.json"}) {
        SCOPED_TRACE(recipe);
        const TwoMachines machines;
        const QString a = machines.first.build(recipe);
        letTheClockMove();
        const QString b = machines.second.build(recipe);
        EXPECT_EQ(sha256(a), sha256(b));
        expectCleanZip(a, "2023,11,14,22,13,20", machines.paths());
        // No uuid in these recipes: one is derived from the recipe, the same on both machines.
        EXPECT_TRUE(TestSupport::isBracedUuid(packageId(a))) << packageId(a).toStdString();
    }
}

TEST(ReproducibleBuild, GeneratedPackagesGiveTheSameBytesOnTwoMachines) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const TwoMachines machines;
        QStringList hashes;
        for (const Machine* machine : {&machines.first, &machines.second}) {
            // The same draws on both; the recipe names its files relative to its own folder, which
            // holds the copy of the examples.
            std::mt19937 random(seed);
            const QString inputs = machine->inputs();
            const QJsonObject recipe{
                {"name", QStringLiteral("Generated %1").arg(seed)},
                {"uuid", QStringLiteral("{00000000-0000-4000-8000-00000000000%1}").arg(seed)},
                {"preview", "preview.png"},
                {"components",
                 TestSupport::generatedComponents(random, inputs, seed % 2 == 0, "")}};
            QByteArray json = QJsonDocument(recipe).toJson();
            json.replace((inputs + "/").toUtf8(), "");
            TestSupport::writeFile(inputs + "/recipe.json", json);
            const QString package = machine->build("recipe.json", {"--strict"});
            hashes << sha256(package);
            expectCleanZip(package, "2023,11,14,22,13,20", machines.paths());
        }
        EXPECT_EQ(hashes[0], hashes[1]);
    }
}

TEST(ReproducibleBuild, OptionAloneTakes1980AndDerivesTheIdFromTheRecipe) {
    const TwoMachines machines;
    // Neither machine has SOURCE_DATE_EPOCH: the environment given to the tool drops it.
    const auto recipeOf = [](const Machine& machine, const QByteArray& json, const QString& name) {
        TestSupport::writeFile(machine.inputs() + "/" + name + ".json", json);
        return machine.build(name + ".json", {"--reproducible"}, QString(), name);
    };
    const QByteArray compact =
        R"({"name":"Fixed","preview":"preview.png","components":[{"kind":"lut-effect",)"
        R"("title":"Warm","lut":"effects/warm-afternoon.cube"}]})";
    // Laid out otherwise, keys in another order: the same recipe.
    const QByteArray spaced = R"({
        "components": [ {"lut": "effects/warm-afternoon.cube", "title": "Warm",
                         "kind": "lut-effect"} ],
        "preview": "preview.png",  "name": "Fixed"
    })";
    const QString a = recipeOf(machines.first, compact, "compact");
    const QString b = recipeOf(machines.second, spaced, "spaced");
    EXPECT_EQ(sha256(a), sha256(b));
    expectCleanZip(a, "1980,1,1,0,0,0", machines.paths());

    QByteArray edited = compact;
    edited.replace("Warm", "Cold");
    const QString c = recipeOf(machines.first, edited, "edited");
    EXPECT_NE(packageId(c), packageId(a));

    // Several recipes at a time run in child processes, which build the same way.
    const auto batch =
        machines.second.run({"build", machines.second.inputs() + "/spaced.json",
                             machines.second.inputs() + "/title.json", "-j", "2", "--reproducible"},
                            QString());
    ASSERT_EQ(batch.code, 0) << batch.output.toStdString() << batch.errors.toStdString();
    EXPECT_EQ(sha256(machines.second.inputs() + "/Fixed.qpack"), sha256(a));
}

TEST(ReproducibleBuild, WithoutItNothingIsFixed) {
    const TwoMachines machines;
    const auto first = machines.first.run({"build", machines.first.inputs() + "/recipe.json", "-o",
                                           machines.first.root() + "/a.qpack"},
                                          QString());
    ASSERT_EQ(first.code, 0) << first.errors.toStdString();
    // The content file still names the working folder as it was, and the id is random.
    EXPECT_TRUE(TestSupport::zipEntry(machines.first.root() + "/a.qpack", "content.xml")
                    .contains(QDir(machines.first.root() + "/tmp").canonicalPath().toUtf8()));

    const auto bad = machines.second.run({"build", machines.second.inputs() + "/recipe.json", "-o",
                                          machines.second.root() + "/b.qpack"},
                                         "yesterday");
    EXPECT_EQ(bad.code, 2);
    EXPECT_TRUE(bad.errors.contains("SOURCE_DATE_EPOCH: 'yesterday'")) << bad.errors.toStdString();
    EXPECT_FALSE(QFile::exists(machines.second.root() + "/b.qpack"));
}

TEST(ReproducibleBuild, FinalizingAgainGivesTheSameIdsAndWithAFixedTimeTheSameBytes) {
    const TwoMachines machines;
    const QString editable = machines.first.build("editable-title.json");
    const auto finalize = [&](const Machine& machine, const QString& into, const QString& epoch) {
        const auto result = machine.run({"finalize", editable, "-o", into}, epoch);
        EXPECT_EQ(result.code, 0) << result.errors.toStdString();
        return result.output;
    };
    // Without a fixed time the ids are stable all the same: the same report, the same entries.
    const QString once = finalize(machines.first, machines.first.root() + "/once", QString());
    const QString twice = finalize(machines.second, machines.second.root() + "/twice", QString());
    EXPECT_EQ(once.section("(uuid ", 1), twice.section("(uuid ", 1));
    const QString name = "/Beach Day Title (editable).qpack";
    EXPECT_EQ(TestSupport::zipEntries(machines.first.root() + "/once" + name),
              TestSupport::zipEntries(machines.second.root() + "/twice" + name));
    EXPECT_NE(packageId(machines.first.root() + "/once" + name), packageId(editable));

    finalize(machines.first, machines.first.root() + "/a", kEpoch);
    letTheClockMove();
    finalize(machines.second, machines.second.root() + "/b", kEpoch);
    EXPECT_EQ(sha256(machines.first.root() + "/a" + name),
              sha256(machines.second.root() + "/b" + name));
    expectCleanZip(machines.second.root() + "/b" + name, "2023,11,14,22,13,20", machines.paths());
}

// The packer under a fixed time, from the library: times out of a zip's range are clamped, the
// files' own bits are dropped, and the clock is the installing thread's alone.
TEST(BuildClock, ClampsTimesAndFixesBitsOnItsOwnThread) {
    QTemporaryDir dir;
    TestSupport::writeFile(dir.filePath("tree/sub/a.txt"), "private");
    QFile(dir.filePath("tree/sub/a.txt")).setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    const struct {
        qint64 time;
        const char* fields;
    } cases[] = {{0, "1980,1,1,0,0,0"}, {5000000000, "2107,12,31,23,59,58"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fields);
        const QString package = dir.filePath(QString::number(c.time) + ".zip");
        {
            const ScopedBuildClock clock(c.time);
            QThread* other = QThread::create([&] {
                EXPECT_FALSE(BuildClock::fixedTime().has_value());
                EXPECT_EQ(BuildClock::recordedFolder("/x/y"), "/x/y");
            });
            other->start();
            other->wait();
            delete other;
            EXPECT_EQ(BuildClock::recordedFolder(dir.filePath("tree")), "tree");
            Bundle::Zip::compressAll(package, dir.filePath("tree"));
        }
        expectCleanZip(package, c.fields, {});
    }
    EXPECT_FALSE(BuildClock::fixedTime().has_value());
}

// Packages that the tool built before its builds could be reproducible: their content files
// record the working folder's absolute path.
TEST(PackagesBuiltBefore, StillOpenVerifyAndFinalize) {
    const QString data = kSource + "/tests/data/";
    QTemporaryDir dir;
    for (const char* name : {"built-before-summer.qpack", "built-before-editable-title.qpack"}) {
        SCOPED_TRACE(name);
        const QString package = data + name;
        ASSERT_TRUE(TestSupport::zipEntry(package, "content.xml").contains("<folder t=\"str\">/"));
        const auto verified = TestSupport::tool({"verify", package});
        EXPECT_EQ(verified.code, 0) << verified.output.toStdString();
        const QString into = dir.filePath(QString(name) + ".open");
        const auto opened = TestSupport::tool(
            {"open", package, "--into", into, "--recipe", dir.filePath(QString(name) + ".json")});
        EXPECT_EQ(opened.code, 0) << opened.errors.toStdString();
        const auto rebuilt = TestSupport::tool({"build", dir.filePath(QString(name) + ".json"),
                                                "-o", dir.filePath(QString(name) + ".again")});
        EXPECT_EQ(rebuilt.code, 0) << rebuilt.errors.toStdString();
    }
    const auto finalized = TestSupport::tool(
        {"finalize", data + "built-before-editable-title.qpack", "-o", dir.filePath("final")});
    ASSERT_EQ(finalized.code, 0) << finalized.errors.toStdString();
    const auto verified =
        TestSupport::tool({"verify", dir.filePath("final/Beach Day Title (editable).qpack")});
    EXPECT_EQ(verified.code, 0) << verified.output.toStdString();
}
