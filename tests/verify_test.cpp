#include <gtest/gtest.h>
#include <zip.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>

#include "cli/package_verifier.h"
#include "test_support.h"

namespace {

using TestSupport::tool;

// The bundled example, built once: one component of most kinds, with resources and an import.
class VerifyTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        area = std::make_unique<QTemporaryDir>();
        example = area->filePath("example.qpack");
        const TestSupport::ToolResult built =
            tool({"build", QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/recipe.json"), "-o",
                  example});
        ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    }
    static void TearDownTestSuite() { area.reset(); }

    QString path(const QString& name) const { return dir.filePath(name); }

    static std::unique_ptr<QTemporaryDir> area;
    static QString example;
    QTemporaryDir dir;
};

std::unique_ptr<QTemporaryDir> VerifyTest::area;
QString VerifyTest::example;

// A copy of a package, changed through libzip as another tool (or a damaged disk) would.
class Damage {
public:
    Damage(const QString& from, const QString& to) : m_from(from), m_to(to) {
        QFile::remove(to);
        EXPECT_TRUE(QFile::copy(from, to));
        int code = 0;
        m_zip = zip_open(QFile::encodeName(to).constData(), 0, &code);
        EXPECT_NE(m_zip, nullptr) << to.toStdString();
    }

    // The first entry whose name matches `pattern`.
    QString find(const QString& pattern) const {
        const QRegularExpression expression(pattern);
        for (const QString& name : TestSupport::zipEntries(m_from)) {
            if (expression.match(name).hasMatch())
                return name;
        }
        ADD_FAILURE() << "no entry matches " << pattern.toStdString();
        return QString();
    }

    void drop(const QString& name) {
        ASSERT_EQ(zip_delete(m_zip, index(name)), 0) << name.toStdString();
    }

    // Replaces what `pattern` matches in an entry's text.
    void edit(const QString& name, const QString& pattern, const QString& replacement) {
        const QString text = QString::fromUtf8(TestSupport::zipEntry(m_from, name));
        put(name, QString(text).replace(QRegularExpression(pattern), replacement).toUtf8(), true);
    }
    void add(const QString& name, const QByteArray& data) { put(name, data, false); }

    // Flips a byte in the middle of a stored entry's data, so that its CRC no longer matches.
    void corrupt(const QString& name) { m_corrupt << name; }

    // Writes the package; true when it was written.
    bool finish() {
        if (zip_close(m_zip) != 0)
            return false;
        QFile file(m_to);
        if (!file.open(QIODevice::ReadWrite))
            return false;
        QByteArray bytes = file.readAll();
        for (const QString& name : m_corrupt) {
            const QByteArray data = TestSupport::zipEntry(m_from, name);
            const int at = bytes.indexOf(data);
            if (at < 0)
                return false;
            bytes[at + data.size() / 2] = char(bytes[at + data.size() / 2] ^ 0x5a);
        }
        file.seek(0);
        return file.write(bytes) == bytes.size();
    }

private:
    void put(const QString& name, const QByteArray& data, bool replace) {
        m_data.push_back(data);
        zip_source_t* source =
            zip_source_buffer(m_zip, m_data.back().constData(), m_data.back().size(), 0);
        if (replace)
            ASSERT_EQ(zip_file_replace(m_zip, index(name), source, 0), 0) << name.toStdString();
        else
            ASSERT_GE(zip_file_add(m_zip, name.toUtf8().constData(), source, 0), 0);
    }

    zip_uint64_t index(const QString& name) const {
        const zip_int64_t found = zip_name_locate(m_zip, name.toUtf8().constData(), 0);
        EXPECT_GE(found, 0) << name.toStdString();
        return zip_uint64_t(found);
    }

    QString m_from;
    QString m_to;
    zip_t* m_zip = nullptr;
    std::deque<QByteArray> m_data;  // libzip reads the buffers when it closes
    QStringList m_corrupt;
};

// One problem as the verifier reports it: its check, a part of its message and, when given, the
// place it names.
struct Expected {
    const char* check;
    QString message;
    QString place = QString();
};

QJsonObject verifyJson(const QString& package, int expectedCode) {
    const TestSupport::ToolResult result = tool({"verify", package, "--json"});
    EXPECT_EQ(result.code, expectedCode) << result.output.toStdString();
    return QJsonDocument::fromJson(result.output.toUtf8()).object();
}

// Checks that `package` has exactly the expected problems, in plain text and in JSON.
void expectProblems(const QString& package, const std::vector<Expected>& expected) {
    const TestSupport::ToolResult text = tool({"verify", package});
    EXPECT_EQ(text.code, 1) << text.output.toStdString();
    const QStringList lines = text.output.trimmed().split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), int(expected.size()) + 1) << text.output.toStdString();
    EXPECT_EQ(lines.back(), QStringLiteral("%1: %2 problem%3")
                                .arg(package)
                                .arg(expected.size())
                                .arg(expected.size() == 1 ? "" : "s"));

    const QJsonArray problems = verifyJson(package, 1).value("problems").toArray();
    ASSERT_EQ(problems.size(), int(expected.size()));
    for (const Expected& e : expected) {
        const auto found = std::find_if(problems.begin(), problems.end(), [&](const auto& p) {
            const QJsonObject problem = p.toObject();
            return problem.value("check").toString() == QLatin1String(e.check) &&
                   problem.value("message").toString().contains(e.message) &&
                   (e.place.isEmpty() || problem.value("place").toString() == e.place);
        });
        EXPECT_NE(found, problems.end()) << e.check << ": " << e.message.toStdString() << "\n"
                                         << text.output.toStdString();
        const QString line =
            package + ": " +
            (found != problems.end() ? found->toObject().value("message").toString() : e.message);
        EXPECT_TRUE(lines.contains(line)) << line.toStdString();
    }
}

const QString kSizeMismatch = "package.xml: <size> says ";

}  // namespace

TEST_F(VerifyTest, BuiltPackagesOfEveryKindAreSound) {
    const TestSupport::ToolResult text = tool({"verify", example});
    EXPECT_EQ(text.code, 0) << text.output.toStdString();
    const QStringList entries = TestSupport::zipEntries(example);
    const int files = int(std::count_if(entries.begin(), entries.end(), [](const QString& name) {
        return !name.endsWith(QLatin1Char('/'));
    }));
    // Eight add-ons; seven resources and the local import's file and the intro's bundle.
    EXPECT_EQ(
        text.output,
        QStringLiteral("%1: ok (%2 files, 8 add-ons, 9 resources)\n").arg(example).arg(files));
    const QJsonObject json = verifyJson(example, 0);
    EXPECT_TRUE(json.value("ok").toBool());
    EXPECT_EQ(json.value("problems").toArray().size(), 0);

    // Overlays: the intermediate one files a placeholder resource that names no file.
    TestSupport::writeFile(path("overlays.json"), R"({"name": "Overlays", "components": [
        {"kind": "overlay", "timeline": ")" PACKWRIGHT_SOURCE_DIR R"(/examples/media/intro.json"},
        {"kind": "intermediate-overlay", "timeline": ")" PACKWRIGHT_SOURCE_DIR
                                                  R"(/examples/media/intro.json"}]})");
    ASSERT_EQ(tool({"build", path("overlays.json"), "-o", path("overlays.qpack")}).code, 0);
    EXPECT_TRUE(verifyJson(path("overlays.qpack"), 0).value("ok").toBool());
}

TEST_F(VerifyTest, EveryDamageIsNamed) {
    const QString effectItem = "^effects/[^/]+/item\\.xml$";
    struct Case {
        const char* name;
        std::function<void(Damage&)> damage;
        std::vector<Expected> expected;
    };
    const std::vector<Case> cases = {
        {"a resource entry dropped",
         [](Damage& d) { d.drop("resources/warm-afternoon.cube"); },
         {{"resource", "resource 'resources/warm-afternoon.cube' is not in the package",
           "resources/warm-afternoon.cube"},
          {"description", kSizeMismatch, "package.xml"}}},
        {"a stored item dropped",
         [&](Damage& d) { d.drop(d.find(effectItem)); },
         {{"item", "/item.xml: the stored item is missing"}, {"description", kSizeMismatch}}},
        // Damage does not stop the checks: the shader is a resource of two add-ons.
        {"stored data damaged and more",
         [](Damage& d) {
             d.corrupt("resources/light-leak.mp4");
             d.drop("resources/soft-vignette.frag");
         },
         {{"archive", "entry 'resources/light-leak.mp4' is damaged: CRC error",
           "resources/light-leak.mp4"},
          {"resource", "resource 'resources/soft-vignette.frag' is not in the package"},
          {"resource", "resource 'resources/soft-vignette.frag' is not in the package"},
          {"description", kSizeMismatch}}},
        {"an add-on path that leaves the package",
         [](Damage& d) {
             d.edit("content.xml", "<path t=\"str\">effects/[^<]*</path>",
                    "<path t=\"str\">../x/</path>");
         },
         {{"item", "content.xml: the effects add-on '../x/' points outside the package", "../x/"},
          {"item", "content.xml: the effects add-on '../x/' points outside the package", "../x/"}}},
        {"a size that is not the package's",
         [](Damage& d) { d.edit("package.xml", "<size>\\d+</size>", "<size>7</size>"); },
         {{"description", kSizeMismatch + "7 bytes"}}},
        {"a content file that is not there",
         [](Damage& d) { d.edit("package.xml", "file=\"content.xml\"", "file=\"other.xml\""); },
         {{"description", "names the content file 'other.xml', which is not in the package"},
          {"description", kSizeMismatch}}},
        {"a content file that does not parse",
         [](Damage& d) { d.edit("content.xml", "(?s)^(.{300}).*", "\\1"); },
         {{"content", "content.xml:"}}},
        {"an item of another family",
         [&](Damage& d) {
             d.edit(d.find(effectItem), "Effect::Object&gt;", "Transition::Object&gt;");
         },
         {{"item", "/item.xml: the stored item is not of the type its record names"},
          {"description", kSizeMismatch}}},
        {"the preview dropped",
         [](Damage& d) { d.drop("preview.png"); },
         {{"description", "<previewPath> 'preview.png' is not in the package"},
          {"description", kSizeMismatch}}},
        {"an import's own file dropped",
         [](Damage& d) { d.drop("resources/sunset.jpg"); },
         {{"resource", "the import's location 'resources/sunset.jpg' is not in the package"},
          {"description", kSizeMismatch}}},
        {"an entry that would leave the package",
         [](Damage& d) { d.add("../evil.txt", "evil"); },
         {{"archive", "entry '../evil.txt' has a '..' component"},
          {"archive", "not unpacked, so its description and add-ons were not checked"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const QString damaged = path("damaged.qpack");
        Damage damage(example, damaged);
        c.damage(damage);
        ASSERT_TRUE(damage.finish());
        expectProblems(damaged, c.expected);
    }
}

TEST_F(VerifyTest, UnpacksOnlyIntoItsFolder) {
    Damage damage(example, path("evil.qpack"));
    damage.add("../../escaped.txt", "evil");
    ASSERT_TRUE(damage.finish());
    const Cli::PackageVerifier refused =
        Cli::PackageVerifier::verify(path("evil.qpack"), path("box/out"));
    EXPECT_FALSE(refused.ok());
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden),
              QStringList{"evil.qpack"});

    // A sound package lands in the folder and nowhere beside it.
    const Cli::PackageVerifier sound = Cli::PackageVerifier::verify(example, path("box/out"));
    EXPECT_TRUE(sound.ok()) << sound.toText().toStdString();
    EXPECT_EQ(QDir(path("box")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden),
              QStringList{"out"});
    EXPECT_TRUE(QFileInfo(path("box/out/package.xml")).isFile());
}

TEST_F(VerifyTest, FilesThatAreNoPackage) {
    TestSupport::writeFile(path("text.qpack"), "this is not a zip file");
    const QJsonObject json = verifyJson(path("text.qpack"), 1);
    EXPECT_FALSE(json.value("ok").toBool());
    const QJsonObject problem = json.value("problems").toArray().at(0).toObject();
    EXPECT_EQ(problem.value("check").toString(), "archive");
    EXPECT_TRUE(problem.value("message").toString().contains("not a zip archive"));

    // Not a package with problems: one that could not be checked.
    const TestSupport::ToolResult absent = tool({"verify", path("absent.qpack")});
    EXPECT_EQ(absent.code, 2);
    EXPECT_TRUE(absent.errors.contains("absent.qpack: no such package file"));
    EXPECT_EQ(tool({"verify"}).code, 2);
    EXPECT_EQ(tool({"verify", example, "--yaml"}).code, 2);
}
