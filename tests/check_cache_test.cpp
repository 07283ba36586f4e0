#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "cli/checks/check_cache.h"
#include "cli/checks/lut_check.h"
#include "test_support.h"

// The content checks' cache: an entry is used for the very file it was made of, and for nothing
// else; one that does not read back is checked again.

namespace {

using TestSupport::readFile;
using TestSupport::writeFile;

QByteArray cube(int rows) {
    QByteArray text = "LUT_3D_SIZE 2\n";
    for (int i = 0; i < rows; ++i)
        text += "0.5 0.5 0.5\n";
    return text;
}

struct Checked {
    int runs = 0;  // how often the LUT was read
    QStringList findings;
};

// Checks `path` through `cache`, counting the real checks.
void check(const Cli::CheckCache& cache, const QString& what, const QString& path,
           Checked& checked) {
    const Cli::CheckPlace at(3, "lut", "look.cube");
    Cli::CheckReport report;
    cache.run(what, path, at, report, [&](Cli::CheckReport& found) {
        ++checked.runs;
        Cli::LutCheck::check(path, at, found);
    });
    checked.findings.clear();
    for (const Cli::Finding& finding : report.findings())
        checked.findings << finding.toText("r.json");
}

const QString kShort =
    "r.json: components[3].lut (look.cube:1): error: the table has 7 rows, LUT_3D_SIZE 2 needs 8";

}  // namespace

TEST(CheckCache, AnEntryServesTheSameFileAndNothingElse) {
    QTemporaryDir dir;
    const Cli::CheckCache cache(dir.filePath("cache"));
    const QString lut = dir.filePath("look.cube");
    writeFile(lut, cube(7));
    Checked checked;
    check(cache, "lut", lut, checked);
    EXPECT_EQ(checked.findings, QStringList{kShort});
    check(cache, "lut", lut, checked);
    EXPECT_EQ(checked.runs, 1);
    EXPECT_EQ(checked.findings, QStringList{kShort});  // at the place asked for

    // What is kept is what is reported: an entry edited with its key intact is believed.
    const QString entry = cache.entryPath("lut", lut);
    ASSERT_TRUE(QFile::exists(entry));
    QByteArray kept = readFile(entry);
    kept.replace("the table has 7 rows", "the table has 6 rows");
    writeFile(entry, kept);
    check(cache, "lut", lut, checked);
    EXPECT_EQ(checked.runs, 1);
    ASSERT_EQ(checked.findings.size(), 1);
    EXPECT_TRUE(checked.findings[0].contains("the table has 6 rows"));

    // Another check of the file, or the file at another path, is checked anew.
    check(cache, "lut strict", lut, checked);
    EXPECT_EQ(checked.runs, 2);
    const QString copy = dir.filePath("copy/look.cube");
    writeFile(copy, cube(7));
    check(cache, "lut", copy, checked);
    EXPECT_EQ(checked.runs, 3);

    // A file changed, to the same size: its old entry is not used.
    writeFile(lut, cube(7).replace("0.5 0.5 0.5\n0.5", "0.5 0.5 0.5\n1.5"));
    check(cache, "lut", lut, checked);
    EXPECT_EQ(checked.runs, 4);
    ASSERT_EQ(checked.findings.size(), 2);
    EXPECT_TRUE(checked.findings[1].contains("warning: value 1.5 is outside the domain"));
    writeFile(lut, cube(8));
    check(cache, "lut", lut, checked);
    EXPECT_EQ(checked.runs, 5);
    EXPECT_TRUE(checked.findings.isEmpty());
}

TEST(CheckCache, EntriesThatDoNotReadBackAreCheckedAgainAndRewritten) {
    QTemporaryDir dir;
    const Cli::CheckCache cache(dir.filePath("cache"));
    const QString lut = dir.filePath("look.cube");
    writeFile(lut, cube(7));
    Checked checked;
    check(cache, "lut", lut, checked);
    const QString entry = cache.entryPath("lut", lut);
    const QByteArray good = readFile(entry);
    const QByteArray broken[] = {
        "",
        good.left(good.size() / 2),                                // cut off
        "not json",                                                // not JSON
        QByteArray(good).replace("\"error\"", "\"fatal\""),        // no such severity
        QByteArray(good).replace("\"line\":1", "\"line\":\"1\""),  // a line that is no number
        QByteArray(good).replace("look.cube", "book.cube"),        // of another file
        QByteArray(good).replace("\"findings\":[", "\"findings\":{\"x\":["),
    };
    int runs = checked.runs;
    for (const QByteArray& data : broken) {
        ASSERT_NE(data, good);
        writeFile(entry, data);
        check(cache, "lut", lut, checked);
        EXPECT_EQ(checked.runs, ++runs) << data.toStdString();
        EXPECT_EQ(checked.findings, QStringList{kShort}) << data.toStdString();
        EXPECT_EQ(readFile(entry), good) << data.toStdString();
    }
    // No temporaries are left beside the entries.
    EXPECT_EQ(QDir(dir.filePath("cache")).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

TEST(CheckCache, WithoutAFolderOrWithOneThatCannotBeWrittenEveryFileIsChecked) {
    QTemporaryDir dir;
    writeFile(dir.filePath("blocked"), "a file where the folder would be");
    const QString lut = dir.filePath("look.cube");
    writeFile(lut, cube(7));
    for (const QString& folder : {QString(), dir.filePath("blocked/cache")}) {
        const Cli::CheckCache cache(folder);
        Checked checked;
        check(cache, "lut", lut, checked);
        check(cache, "lut", lut, checked);
        EXPECT_EQ(checked.runs, 2);
        EXPECT_EQ(checked.findings, QStringList{kShort});
    }

    // The tool: --no-cache keeps nothing; a run with the cache gives the same report twice.
    QDir::setCurrent(dir.path());
    writeFile(dir.filePath("r.json"),
              R"({"name": "R", "components": [{"kind": "lut-effect", "lut": "look.cube"}]})");
    const QString folder = Cli::CheckCache::defaultFolder();
    ASSERT_FALSE(folder.isEmpty());
    QDir(folder).removeRecursively();
    const TestSupport::ToolResult fresh = TestSupport::tool({"check", "r.json", "--no-cache"});
    EXPECT_EQ(fresh.code, 1);
    EXPECT_TRUE(QDir(folder).isEmpty());
    const TestSupport::ToolResult first = TestSupport::tool({"check", "r.json"});
    const TestSupport::ToolResult second = TestSupport::tool({"check", "r.json"});
    EXPECT_EQ(QDir(folder).entryList(QDir::Files).size(), 1);
    EXPECT_EQ(first.output, fresh.output);
    EXPECT_EQ(second.output, fresh.output);
}
