#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include "checks_corpus.h"
#include "cli/checks/check_queue.h"
#include "cli/checks/recipe_checker.h"
#include "cli/recipe.h"
#include "test_support.h"

// The content checks run on several threads: the same findings, in the same order, as on one.

namespace {

using ChecksCorpus::rows;
using TestSupport::writeFile;

// A recipe of many components, several of each broken kind between clean ones, so that the
// threads finish their files out of order.
QString writeMixedRecipe(const QString& folder) {
    const QByteArray video = ChecksCorpus::videoBytes();
    const QByteArray plain =
        ChecksCorpus::shader("void main() { gl_FragColor = texture2D(source, texCoord); }\n");
    QStringList components;
    for (int i = 0; i < 6; ++i) {
        const QString n = QString::number(i);
        writeFile(folder + "/looks/short" + n + ".cube", "LUT_3D_SIZE 2\n" + rows(7 - i % 3));
        writeFile(folder + "/looks/nan" + n + ".cube",
                  "LUT_3D_SIZE 2\n" + rows(7, "nan 0 0") + rows(1));
        writeFile(folder + "/looks/ok" + n + ".cube", "LUT_3D_SIZE 2\n" + rows(8));
        writeFile(
            folder + "/fx/broken" + n + ".frag",
            ChecksCorpus::shader("void main() {\n  gl_FragColor = vec4(" + n.toUtf8() + ")\n}\n"));
        writeFile(folder + "/fx/ok" + n + ".frag", plain);
        writeFile(folder + "/media/song" + n + ".wav", ChecksCorpus::wav());
        writeFile(folder + "/media/cut" + n + ".mp4", video.left(video.size() / (2 + i)));
        writeFile(folder + "/media/still" + n + ".png", ChecksCorpus::pngBytes());
        components
            << QStringLiteral(R"({"kind": "lut-effect", "lut": "looks/short%1.cube"})")
            << QStringLiteral(R"({"kind": "shader-effect", "shader": "fx/ok%1.frag"})")
            << QStringLiteral(R"({"kind": "import", "file": "media/song%1.wav"})")
            << QStringLiteral(R"({"kind": "lut-effect", "lut": "looks/nan%1.cube"})")
            << QStringLiteral(R"({"kind": "shader-effect", "shader": "fx/broken%1.frag"})")
            << QStringLiteral(R"({"kind": "import", "file": "media/cut%1.mp4"})")
            << QStringLiteral(R"({"kind": "lut-effect", "lut": "looks/ok%1.cube"})")
            << QStringLiteral(R"({"kind": "mask-transition", "source": "media/cut%1.mp4"})")
            << QStringLiteral(
                   R"({"kind": "import", "file": "media/still%1.png", "importKind": "image"})");
        for (int c = components.size() - 9; c < components.size(); ++c)
            components[c] = components[c].arg(i);
    }
    // Two different files of one name: found after the files' own checks.
    writeFile(folder + "/a/logo.png", ChecksCorpus::pngBytes());
    writeFile(folder + "/b/logo.png", ChecksCorpus::pngBytes() + "x");
    components << R"({"kind": "import", "file": "a/logo.png", "importKind": "image"})"
               << R"({"kind": "import", "file": "b/logo.png", "importKind": "image"})";
    const QString path = folder + "/recipe.json";
    writeFile(path,
              R"({"name": "Mixed", "components": [)" + components.join(",\n").toUtf8() + "]}");
    return path;
}

QString checked(const Cli::Recipe& recipe, int threads) {
    Cli::CheckReport report;
    Cli::RecipeChecker::check(recipe, report, threads);
    return report.toText(recipe.path);
}

}  // namespace

TEST(ChecksOnThreads, SameFindingsInTheSameOrderAsOnOneThread) {
    QTemporaryDir dir;
    const Cli::Recipe recipe = Cli::Recipe::load(writeMixedRecipe(dir.path()));
    const QString one = checked(recipe, 1);
    // Each broken file is found once, at its component, in the components' order.
    const QStringList lines = one.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 6 * 6 + 1 + 1) << one.toStdString();
    EXPECT_TRUE(lines[0].contains("components[0].lut (looks/short0.cube:1): error: the table"));
    EXPECT_TRUE(lines[1].contains("components[2].path (media/song0.wav): error: has no video"));
    EXPECT_TRUE(lines[2].contains("components[3].lut (looks/nan0.cube:2): warning: value nan"));
    EXPECT_TRUE(lines[3].contains("components[4].shader (fx/broken0.frag:6): error: does not"));
    EXPECT_TRUE(lines[4].contains("components[5].path (media/cut0.mp4): error:"));
    EXPECT_TRUE(lines[5].contains("components[7].source (media/cut0.mp4): error: not an image"));
    EXPECT_TRUE(lines[36].contains("components[55].path (b/logo.png): error: two different"));
    EXPECT_TRUE(lines[37].endsWith(": 31 errors, 6 warnings")) << lines[37].toStdString();

    for (int threads : {2, 3, 8})
        EXPECT_EQ(checked(recipe, threads), one) << threads << " threads";
    // The tool's -j gives the same report as its default.
    QDir::setCurrent(dir.path());
    const TestSupport::ToolResult serial = TestSupport::tool({"check", "recipe.json", "-j", "1"});
    const TestSupport::ToolResult parallel = TestSupport::tool({"check", "recipe.json"});
    EXPECT_EQ(serial.code, 1);
    EXPECT_EQ(parallel.output, serial.output);
    EXPECT_EQ(TestSupport::tool({"check", "recipe.json", "-j", "0"}).code, 2);
}

TEST(ChecksOnThreads, AnExceptionOfACheckIsThrownAfterTheOthersEnd) {
    Cli::CheckQueue queue;
    std::atomic<int> ran{0};
    for (int i = 0; i < 20; ++i) {
        queue.add([i, &ran](Cli::CheckReport& report) {
            ++ran;
            if (i == 7 || i == 13)
                throw std::runtime_error("check " + std::to_string(i));
            report.add({i, "lut", "x.cube"}, Cli::Finding::Warning, "seen");
        });
    }
    Cli::CheckReport report;
    try {
        queue.run(report, 4);
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "check 7");  // the first in the queue's order
    }
    EXPECT_EQ(ran.load(), 20);
    EXPECT_EQ(queue.size(), 0);
}
