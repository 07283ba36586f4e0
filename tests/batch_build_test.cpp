#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <sys/stat.h>
#include <zip.h>

#include "test_support.h"

namespace {

using TestSupport::tool;
using TestSupport::writeFile;

const QString kLut = QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/effects/warm-afternoon.cube");

QByteArray lutRecipe(const QString& name, const QString& output, const QString& lut = kLut) {
    QByteArray json = "{\"name\": \"" + name.toUtf8() + "\", ";
    if (!output.isEmpty())
        json += "\"output\": \"" + output.toUtf8() + "\", ";
    return json + "\"components\": [{\"kind\": \"lut-effect\", \"lut\": \"" + lut.toUtf8() +
           "\"}]}";
}

// The permission bits that the package gives the entry whose name ends in `suffix`.
int entryMode(const QString& package, const QString& suffix) {
    int code = 0;
    zip_t* archive = zip_open(QFile::encodeName(package).constData(), ZIP_RDONLY, &code);
    if (!archive)
        return -1;
    int mode = -1;
    for (zip_int64_t i = 0; i < zip_get_num_entries(archive, 0); ++i) {
        if (!QString::fromUtf8(zip_get_name(archive, zip_uint64_t(i), 0)).endsWith(suffix))
            continue;
        zip_uint8_t system = 0;
        zip_uint32_t attributes = 0;
        zip_file_get_external_attributes(archive, zip_uint64_t(i), 0, &system, &attributes);
        mode = int((attributes >> 16) & 0777);
    }
    zip_discard(archive);
    return mode;
}

// Several recipes, on one process and on two: each package where its recipe says, a broken recipe
// and one that would overwrite another's package fail alone, one line each and a summary.
TEST(BatchBuild, EveryRecipeIsBuiltWhereItSaysAndFailuresStopNoOther) {
    QTemporaryDir dir;
    writeFile(dir.filePath("in/a.json"), lutRecipe("Alpha", QString()));
    writeFile(dir.filePath("in/b.json"), lutRecipe("Beta", "../out/b.qpack"));
    writeFile(dir.filePath("in/bad.json"), R"({"name": "Bad", "components": [{"kind": "lutt"}]})");
    writeFile(dir.filePath("in/same.json"), lutRecipe("Gamma", "Alpha.qpack"));
    const QStringList recipes = {dir.filePath("in/a.json"), dir.filePath("in/bad.json"),
                                 dir.filePath("in/b.json"), dir.filePath("in/same.json")};
    for (const char* jobs : {"1", "2", "3"}) {
        SCOPED_TRACE(jobs);
        QFile::remove(dir.filePath("in/Alpha.qpack"));
        QFile::remove(dir.filePath("out/b.qpack"));
        const TestSupport::ToolResult result = tool(QStringList{"build", "-j", jobs} + recipes);
        EXPECT_EQ(result.code, 1) << result.errors.toStdString();
        const QStringList lines = result.output.split('\n', Qt::SkipEmptyParts);
        ASSERT_EQ(lines.size(), 5) << result.output.toStdString();
        EXPECT_TRUE(lines[0].startsWith("built " + dir.filePath("in/Alpha.qpack") + " ("))
            << lines[0].toStdString();
        EXPECT_TRUE(lines[1].startsWith("failed " + dir.filePath("in/bad.json") + ": "));
        EXPECT_TRUE(lines[1].contains("unknown kind 'lutt'")) << lines[1].toStdString();
        EXPECT_TRUE(lines[2].startsWith("built " + dir.filePath("out/b.qpack") + " ("));
        EXPECT_TRUE(lines[3].contains("writes the same package as " + dir.filePath("in/a.json")))
            << lines[3].toStdString();
        EXPECT_EQ(lines[4], "built 2 of 4 packages, 2 failed");
        EXPECT_TRUE(
            TestSupport::zipEntries(dir.filePath("in/Alpha.qpack")).contains("package.xml"));
        EXPECT_TRUE(TestSupport::zipEntries(dir.filePath("out/b.qpack")).contains("package.xml"));
    }

    const TestSupport::ToolResult json =
        tool({"build", "--json", dir.filePath("in/a.json"), dir.filePath("in/b.json"), "-j", "2"});
    ASSERT_EQ(json.code, 0) << json.errors.toStdString();
    const QJsonObject batch = QJsonDocument::fromJson(json.output.toUtf8()).object();
    EXPECT_EQ(batch.value("built").toInt(), 2);
    EXPECT_EQ(batch.value("failed").toInt(), 0);
    const QJsonArray packages = batch.value("packages").toArray();
    ASSERT_EQ(packages.size(), 2);
    EXPECT_EQ(packages[1].toObject().value("package").toString(), dir.filePath("out/b.qpack"));
    EXPECT_EQ(qint64(packages[1].toObject().value("bytes").toDouble()),
              QFileInfo(dir.filePath("out/b.qpack")).size());
    EXPECT_EQ(packages[1].toObject().value("components").toInt(), 1);

    // One output, id or working folder cannot serve several packages.
    for (const QStringList& option :
         {QStringList{"-o", dir.filePath("x.qpack")}, QStringList{"--keep-work", dir.filePath("w")},
          QStringList{"--uuid", "{0f8e5f5e-9e1c-4a57-9a56-5a3b5f6f0a11}"}}) {
        const TestSupport::ToolResult refused = tool(QStringList{"build"} + option + recipes);
        EXPECT_EQ(refused.code, 2);
        EXPECT_TRUE(refused.errors.contains("takes one recipe, not 4"))
            << refused.errors.toStdString();
    }
    EXPECT_EQ(tool({"build", "-j", "0", dir.filePath("in/a.json")}).code, 2);
}

// The private working folder links resources to their sources, which shows in the package as
// the source's own permission bits; a kept working folder gets real copies.
TEST(BatchBuild, ThePrivateWorkingFolderLinksWhatAKeptOneCopies) {
    QTemporaryDir dir;
    writeFile(dir.filePath("in/odd.cube"), TestSupport::readFile(kLut));
    ASSERT_EQ(::chmod(QFile::encodeName(dir.filePath("in/odd.cube")).constData(), 0604), 0);
    writeFile(dir.filePath("in/r.json"), lutRecipe("Linked", QString(), "odd.cube"));
    ASSERT_EQ(tool({"build", dir.filePath("in/r.json")}).code, 0);
    EXPECT_EQ(entryMode(dir.filePath("in/Linked.qpack"), "/odd.cube"), 0604);

    ASSERT_EQ(tool({"build", dir.filePath("in/r.json"), "-o", dir.filePath("kept.qpack"),
                    "--keep-work", dir.filePath("work")})
                  .code,
              0);
    QStringList kept;
    for (QDirIterator it(dir.filePath("work"), {"odd.cube"}, QDir::Files,
                         QDirIterator::Subdirectories);
         it.hasNext();)
        kept << it.next();
    ASSERT_EQ(kept.size(), 1);
    struct stat copy {
    }, source{};
    ASSERT_EQ(::stat(QFile::encodeName(kept.front()).constData(), &copy), 0);
    ASSERT_EQ(::stat(QFile::encodeName(dir.filePath("in/odd.cube")).constData(), &source), 0);
    EXPECT_NE(copy.st_ino, source.st_ino);
    EXPECT_EQ(copy.st_nlink, 1u);
    EXPECT_EQ(source.st_nlink, 1u);
}

}  // namespace
