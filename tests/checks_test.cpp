#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "cli/checks/cube_file_check.h"
#include "cli/checks/lut_check.h"
#include "cli/checks/shader_check.h"
#include "cli/checks/timeline_check.h"
#include "cli/timeline_file.h"
#include "test_support.h"

namespace {

using TestSupport::writeFile;

const QString kSource = QStringLiteral(PACKWRIGHT_SOURCE_DIR);

// "error@3: text" for each finding, to compare whole reports at once.
QStringList summary(const Cli::CheckReport& report) {
    QStringList lines;
    for (const Cli::Finding& finding : report.findings())
        lines << QStringLiteral("%1@%2: %3")
                     .arg(finding.severity == Cli::Finding::Error ? "error" : "warning")
                     .arg(finding.line)
                     .arg(finding.message);
    return lines;
}

// A 3D table of size n with every value `value`.
QByteArray rows(int count, const QByteArray& value = "0.5 0.5 0.5") {
    QByteArray table;
    for (int i = 0; i < count; ++i)
        table += value + "\n";
    return table;
}

QByteArray pngBytes() {
    return TestSupport::readFile(kSource + "/examples/preview.png");
}

}  // namespace

TEST(CubeFileCheck, ReportsSizesRowsDomainsAndValuesAtTheirLines) {
    struct Case {
        QByteArray cube;
        QStringList expected;  // "severity@line: message start"
    };
    const Case cases[] = {
        {"TITLE \"ok\"\nLUT_3D_SIZE 2\n" + rows(8), {}},
        {"LUT_1D_SIZE 3\n# comment\n\n" + rows(3), {}},
        {"LUT_1D_SIZE 2\nLUT_3D_SIZE 2\n" + rows(10), {}},
        // Too few rows: the size that asks for more; too many: the first row too many.
        {"LUT_3D_SIZE 2\n" + rows(7), {"error@1: the table has 7 rows, LUT_3D_SIZE 2 needs 8"}},
        {"TITLE \"x\"\nLUT_3D_SIZE 2\n" + rows(9),
         {"error@11: the table has 9 rows, LUT_3D_SIZE 2 needs 8"}},
        {"LUT_1D_SIZE 4\n" + rows(3), {"error@1: the table has 3 rows, LUT_1D_SIZE 4 needs 4"}},
        {"LUT_3D_SIZE 1\n" + rows(1), {"error@1: LUT_3D_SIZE 1 is out of range (2 to 256)"}},
        {"\nLUT_3D_SIZE 300\n", {"error@2: LUT_3D_SIZE 300 is out of range (2 to 256)"}},
        {"LUT_1D_SIZE 70000\n", {"error@1: LUT_1D_SIZE 70000 is out of range (2 to 65536)"}},
        {"LUT_3D_SIZE two\n", {"error@1: LUT_3D_SIZE needs one whole number"}},
        {rows(8), {"error@0: no LUT_1D_SIZE or LUT_3D_SIZE line"}},
        {"LUT_3D_SIZE 2\nLUT_3D_SIZE 2\n" + rows(8), {"error@2: LUT_3D_SIZE given twice"}},
        {"LUT_3D_SIZE 2\n" + rows(8) + "DOMAIN_MIN 0 0 0\n",
         {"error@10: DOMAIN_MIN after the table has started"}},
        {"LUT_3D_SIZE 2\nDOMAIN_MIN 0 0\n" + rows(8),
         {"error@2: DOMAIN_MIN needs three finite numbers"}},
        {"LUT_3D_SIZE 2\nDOMAIN_MIN 1 0 0\nDOMAIN_MAX 1 1 1\n" + rows(8),
         {"error@3: the domain is empty"}},
        {"LUT_3D_SIZE 2\nLUT_3D_INPUT_RANGE 1 0\n" + rows(8),
         {"error@2: LUT_3D_INPUT_RANGE needs two finite numbers"}},
        {"LUT_3D_SIZE 2\nFOO 1\n" + rows(8), {"error@2: not a keyword or a row of three numbers"}},
        {"LUT_3D_SIZE 2\n" + rows(3) + "0.1 0.2\n" + rows(4),
         {"error@5: a row needs three numbers"}},
        // Values: one warning per kind, at the first row that has it.
        {"LUT_3D_SIZE 2\n" + rows(2) + rows(2, "nan 0 0") + rows(4),
         {"warning@4: value nan is not a number (and 1 more rows)"}},
        {"LUT_3D_SIZE 2\n" + rows(7) + "0 -inf 0\n", {"warning@9: value -inf is infinite"}},
        {"LUT_3D_SIZE 2\nDOMAIN_MAX 0.5 0.5 0.5\n" + rows(1, "0.2 0.2 0.2") +
             rows(7, "0.2 0.7 0.2"),
         {"warning@4: value 0.7 is outside the domain [0, 0.5] (and 6 more rows)"}},
        {"LUT_3D_SIZE 2\n" + rows(7) + "1.5 0 0\n", {"warning@9: value 1.5 is outside the domain"}},
        {pngBytes(), {"error@0: not a text file"}},
    };
    for (const Case& c : cases) {
        Cli::CheckReport report;
        Cli::CubeFileCheck::check(c.cube, {0, "lut", "x.cube"}, report);
        const QStringList got = summary(report);
        ASSERT_EQ(got.size(), c.expected.size())
            << c.cube.left(60).toStdString() << "\n got: " << got.join('\n').toStdString();
        for (int i = 0; i < got.size(); ++i)
            EXPECT_TRUE(got[i].startsWith(c.expected[i]))
                << got[i].toStdString() << "\n wanted: " << c.expected[i].toStdString();
    }
}

TEST(LutCheck, FilesTheColourLibraryCannotLoadAreErrors) {
    QTemporaryDir dir;
    struct Case {
        const char* name;
        QByteArray data;
        const char* expected;  // "" when it must load
    };
    const Case cases[] = {
        {"warm.cube", TestSupport::readFile(kSource + "/examples/effects/warm-afternoon.cube"), ""},
        {"look.spi3d", "not a lut at all\n", "cannot load the LUT: "},
        {"look.3dl", pngBytes(), "cannot load the LUT: "},
        {"empty.cube", "", "no LUT_1D_SIZE or LUT_3D_SIZE line"},
    };
    for (const Case& c : cases) {
        writeFile(dir.filePath(c.name), c.data);
        Cli::CheckReport report;
        Cli::LutCheck::check(dir.filePath(c.name), {0, "lut", c.name}, report);
        const QStringList got = summary(report);
        if (QByteArray(c.expected).isEmpty()) {
            EXPECT_TRUE(got.isEmpty()) << c.name << ": " << got.join('\n').toStdString();
        } else {
            ASSERT_EQ(got.size(), 1) << c.name << ": " << got.join('\n').toStdString();
            EXPECT_TRUE(got.front().contains(c.expected)) << got.front().toStdString();
        }
    }
}

TEST(ShaderCheck, CompileErrorsAndTheContractAreReportedAtTheShadersLines) {
    const QByteArray header =
        "#version 120\n"
        "uniform sampler2D source;\n"
        "varying vec2 texCoord;\n";
    struct Case {
        QByteArray body;  // follows the three header lines
        Cli::ShaderUse use;
        QStringList expected;
    };
    const Cli::ShaderUse effect;
    Cli::ShaderUse withAux;
    withAux.hasAuxImage = true;
    Cli::ShaderUse transition;
    transition.transition = true;
    const Case cases[] = {
        {"void main() { gl_FragColor = texture2D(source, texCoord); }\n", effect, {}},
        {"void main() {\n  vec4 c = texture2D(source, texCoord)\n  gl_FragColor = c;\n}\n",
         effect,
         {"error@6: does not compile: "}},
        {"void main() {\n  gl_FragColor = texture2D(source, texCoord) * strength;\n}\n",
         effect,
         {"error@5: does not compile: 'strength' : undeclared identifier"}},
        {"uniform float brightness;\nvoid main() {\n"
         "  gl_FragColor = texture2D(source, texCoord) * brightness;\n}\n",
         effect,
         {"error@4: uniform 'brightness' is not one the editor sets"}},
        {"uniform sampler2D auxImage;\nvoid main() {\n"
         "  gl_FragColor = texture2D(auxImage, texCoord);\n}\n",
         effect,
         {"error@4: the shader samples auxImage, but the component has no auxiliary image"}},
        {"uniform sampler2D auxImage;\nvoid main() {\n"
         "  gl_FragColor = texture2D(auxImage, texCoord);\n}\n",
         withAux,
         {}},
        {"void main() { gl_FragColor = texture2D(source, texCoord); }\n",
         withAux,
         {"warning@0: the component's auxiliary image is never sampled"}},
        {"uniform float progress;\nuniform sampler2D target;\nvoid main() {\n"
         "  gl_FragColor = mix(texture2D(source, texCoord), texture2D(target, texCoord), "
         "progress);\n}\n",
         transition,
         {}},
        {"uniform float progress;\nvoid main() {\n"
         "  gl_FragColor = texture2D(source, texCoord) * progress;\n}\n",
         effect,
         {"error@4: uniform 'progress' is set for transitions only"}},
        {"uniform vec2 intensity;\nvoid main() {\n"
         "  gl_FragColor = texture2D(source, texCoord) * intensity.x;\n}\n",
         effect,
         {"error@4: uniform 'intensity' must be a float",
          "warning@4: the shader reads intensity, but the component does not set"}},
        {"varying vec2 uv;\nvoid main() { gl_FragColor = texture2D(source, uv); }\n",
         effect,
         {"error@4: input 'uv' is not one the editor gives"}},
        {"void helper() {}\n",
         effect,
         {"error@0: does not compile: Linking fragment stage: Missing entry point"}},
    };
    QTemporaryDir dir;
    for (const Case& c : cases) {
        writeFile(dir.filePath("s.frag"), header + c.body);
        Cli::CheckReport report;
        Cli::ShaderCheck::check(dir.filePath("s.frag"), c.use, {0, "shader", "s.frag"}, report);
        const QStringList got = summary(report);
        ASSERT_EQ(got.size(), c.expected.size())
            << c.body.toStdString() << "\n got: " << got.join('\n').toStdString();
        for (int i = 0; i < got.size(); ++i)
            EXPECT_TRUE(got[i].startsWith(c.expected[i]))
                << got[i].toStdString() << "\n wanted: " << c.expected[i].toStdString();
    }

    // A version the editor does not run is named at its line, and nothing else is said.
    writeFile(dir.filePath("es.frag"), "// header\n#version 300 es\nvoid main() {}\n");
    Cli::CheckReport report;
    Cli::ShaderCheck::check(dir.filePath("es.frag"), effect, {0, "shader", "es.frag"}, report);
    EXPECT_EQ(summary(report), QStringList{"error@2: GLSL version 300 es is not one the editor "
                                           "runs (desktop GLSL 110, 120, 130, 140, 150, 330)"});
}

TEST(TimelineCheck, ItemsOutsideTheSceneAtEveryKeyAndTimesOfZero) {
    struct Case {
        QByteArray item;  // an overlay item's fields besides its text
        bool outside;
    };
    const Case cases[] = {
        {"", false},
        {R"("rect": {"x": 0.9, "y": 0.9, "width": 0.5, "height": 0.5})", false},
        {R"("rect": {"x": 1.0, "y": 0.2, "width": 0.5, "height": 0.5})", true},  // at the edge
        {R"("rect": {"x": -0.6, "y": 0.2, "width": 0.5, "height": 0.5})", true},
        {R"("matrix": [0.2, 0, 0, 0, 0.2, 0, 0.3, 1.5, 1])", true},
        // Keyframes move it: in the scene at one key is enough.
        {R"("rect": {"x": 1.2, "y": 0.2, "width": 0.2, "height": 0.2},
            "keyframes": [{"step": 0, "x": 0.5}, {"step": 1, "x": -0.3}])",
         false},
        {R"("rect": {"x": 0.4, "y": 0.4, "width": 0.2, "height": 0.2},
            "keyframes": [{"step": 0, "x": 1.5}, {"step": 1, "y": -0.5}])",
         true},
        // Scaled about the scene's centre: a small item near the edge grows into the scene.
        {R"("rect": {"x": 1.01, "y": 0.45, "width": 0.1, "height": 0.1},
            "keyframes": [{"step": 0, "scaleX": 0.5}, {"step": 1, "scaleX": 0.9}])",
         false},
    };
    for (const Case& c : cases) {
        const QByteArray json =
            R"({"tracks": ["t"], "clips": [{"track": 0, "content": "overlay", "position": 0,
                "length": 500, "overlay": {"duration": 500, "items": [{"content": "x")" +
            (c.item.isEmpty() ? QByteArray() : ", " + c.item) + "}]}}]}";
        const QStringList warnings =
            Cli::TimelineCheck::warnings(Cli::TimelineFile::parse(json, "t.json"), "t.json");
        EXPECT_EQ(warnings.size(), c.outside ? 1 : 0)
            << c.item.toStdString() << "\n got: " << warnings.join('\n').toStdString();
        if (c.outside && warnings.size() == 1) {
            EXPECT_TRUE(warnings.front().startsWith(
                "t.json: clips[0].overlay.items[0]: the item lies outside the scene"));
        }
    }

    const QStringList zero =
        Cli::TimelineCheck::warnings(Cli::TimelineFile::parse(R"({"tracks": ["t"], "clips": [
            {"track": 0, "position": 0, "length": 100},
            {"track": 0, "content": "overlay", "position": 0, "length": 0,
             "overlay": {"duration": 0, "items": []}}]})",
                                                              "t.json"),
                                     "t.json");
    EXPECT_EQ(zero, (QStringList{"t.json: clips[1].length: a clip of zero length: the fractions "
                                 "that place its keyframes and fades are undefined",
                                 "t.json: clips[1].overlay.duration: an overlay of zero duration: "
                                 "its items' begin and end fractions are undefined"}));

    // A mistake repeated in a generated timeline is said twenty times, then counted.
    QByteArray clips;
    for (int i = 0; i < 25; ++i)
        clips += QByteArray(i ? "," : "") + R"({"track": 0, "position": 0, "length": 0})";
    const QStringList many = Cli::TimelineCheck::warnings(
        Cli::TimelineFile::parse(R"({"tracks": ["t"], "clips": [)" + clips + "]}", "t.json"),
        "t.json");
    ASSERT_EQ(many.size(), 21);
    EXPECT_TRUE(many[19].startsWith("t.json: clips[19].length: "));
    EXPECT_EQ(many[20], "t.json: 5 more warnings like these");
}
