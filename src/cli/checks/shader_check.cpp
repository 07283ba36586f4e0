#include "cli/checks/shader_check.h"

#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>

#include <QFile>
#include <QRegularExpression>
#include <QStringList>
#include <map>

namespace Cli {
namespace {

// The OpenGL type codes that reflection reports.
constexpr int kFloat = 0x1406;
constexpr int kVec2 = 0x8B50;
constexpr int kSampler2D = 0x8B5E;

struct Uniform {
    int type;
    const char* typeName;
    bool transitionOnly;
};

// The uniforms that the editor sets; see docs/shaders.md.
const std::map<QString, Uniform>& contractUniforms() {
    static const std::map<QString, Uniform> uniforms = {
        {QStringLiteral("source"), {kSampler2D, "sampler2D", false}},
        {QStringLiteral("target"), {kSampler2D, "sampler2D", true}},
        {QStringLiteral("auxImage"), {kSampler2D, "sampler2D", false}},
        {QStringLiteral("intensity"), {kFloat, "float", false}},
        {QStringLiteral("time"), {kFloat, "float", false}},
        {QStringLiteral("progress"), {kFloat, "float", true}},
        {QStringLiteral("resolution"), {kVec2, "vec2", false}},
    };
    return uniforms;
}

const QStringList kVersions = {QStringLiteral("110"), QStringLiteral("120"), QStringLiteral("130"),
                               QStringLiteral("140"), QStringLiteral("150"), QStringLiteral("330")};

void initialiseCompiler() {
    static const bool initialised = glslang::InitializeProcess();
    (void)initialised;
}

// The line of the source that declares `name` with `qualifier` ("uniform", "varying" or "in"),
// 0 when none is found.
int declarationLine(const QStringList& lines, const QString& qualifier, const QString& name) {
    const QRegularExpression pattern(
        QStringLiteral("\\b%1\\b[^;]*\\b%2\\b").arg(qualifier, QRegularExpression::escape(name)));
    for (int i = 0; i < lines.size(); ++i) {
        if (pattern.match(lines[i]).hasMatch())
            return i + 1;
    }
    return 0;
}

// Turns the compiler's log ("ERROR: 0:12: 'x' : undeclared identifier") into findings; its line
// numbers are the file's own, as nothing is put before the source.
void reportLog(const char* log, const CheckPlace& place, CheckReport& report) {
    static const QRegularExpression located(
        QStringLiteral(R"(^(ERROR|WARNING): \d+:(\d+): (.*)$)"));
    static const QRegularExpression plain(QStringLiteral(R"(^(ERROR|WARNING): (.*)$)"));
    for (const QString& line : QString::fromUtf8(log).split(QLatin1Char('\n'))) {
        const QString text = line.trimmed();
        QRegularExpressionMatch match = located.match(text);
        int at = 0;
        QString message;
        if (match.hasMatch()) {
            at = match.captured(2).toInt();
            message = match.captured(3);
        } else if ((match = plain.match(text)).hasMatch()) {
            message = match.captured(2);
        } else {
            continue;
        }
        // The compiler's closing lines repeat what was said above.
        if (message.contains(QLatin1String("compilation errors")) ||
            message.contains(QLatin1String("compilation terminated")))
            continue;
        const bool error = match.captured(1) == QLatin1String("ERROR");
        report.add(place, error ? Finding::Error : Finding::Warning,
                   QStringLiteral("%1: %2").arg(error ? QStringLiteral("does not compile")
                                                      : QStringLiteral("compiler warning"),
                                                message.simplified()),
                   at);
    }
}

// The #version the shader asks for must be one the editor runs.
bool checkVersion(const QStringList& lines, const CheckPlace& place, CheckReport& report) {
    static const QRegularExpression pattern(QStringLiteral(R"(^\s*#\s*version\s+(\d+)\s*(\w*))"));
    for (int i = 0; i < lines.size(); ++i) {
        const QRegularExpressionMatch match = pattern.match(lines[i]);
        if (!match.hasMatch())
            continue;
        const QString profile = match.captured(2);
        if (kVersions.contains(match.captured(1)) && profile != QLatin1String("es"))
            return true;
        report.add(place, Finding::Error,
                   QStringLiteral("GLSL version %1 is not one the editor runs (desktop GLSL %2)")
                       .arg((match.captured(1) + QLatin1Char(' ') + profile).trimmed(),
                            kVersions.join(QStringLiteral(", "))),
                   i + 1);
        return false;
    }
    return true;  // none: GLSL 1.10
}

void checkContract(const glslang::TProgram& program, const QStringList& lines, const ShaderUse& use,
                   const CheckPlace& place, CheckReport& report) {
    const auto& uniforms = contractUniforms();
    bool samplesAux = false;
    for (int i = 0; i < program.getNumUniformVariables(); ++i) {
        const glslang::TObjectReflection& uniform = program.getUniform(i);
        const QString name = QString::fromStdString(uniform.name);
        const int line = declarationLine(lines, QStringLiteral("uniform"), name);
        const auto known = uniforms.find(name);
        if (known == uniforms.end()) {
            QStringList names;
            for (const auto& entry : uniforms)
                names << entry.first;
            report.add(place, Finding::Error,
                       QStringLiteral("uniform '%1' is not one the editor sets (it sets %2)")
                           .arg(name, names.join(QStringLiteral(", "))),
                       line);
            continue;
        }
        if (uniform.glDefineType != known->second.type)
            report.add(place, Finding::Error,
                       QStringLiteral("uniform '%1' must be a %2")
                           .arg(name, QLatin1String(known->second.typeName)),
                       line);
        if (known->second.transitionOnly && !use.transition)
            report.add(place, Finding::Error,
                       QStringLiteral("uniform '%1' is set for transitions only, not for effects")
                           .arg(name),
                       line);
        if (name == QLatin1String("auxImage")) {
            samplesAux = true;
            if (!use.hasAuxImage)
                report.add(place, Finding::Error,
                           QStringLiteral("the shader samples auxImage, but the component has no "
                                          "auxiliary image (give \"auxImage\")"),
                           line);
        }
        if (name == QLatin1String("intensity")) {
            if (!use.supportsIntensity)
                report.add(place, Finding::Warning,
                           QStringLiteral("the shader reads intensity, but the component does not "
                                          "set \"supportsIntensity\": the editor keeps it at 0"),
                           line);
        }
    }
    if (use.hasAuxImage && !samplesAux)
        report.add(place, Finding::Warning,
                   QStringLiteral("the component's auxiliary image is never sampled (no "
                                  "auxImage uniform in use)"));

    for (int i = 0; i < program.getNumPipeInputs(); ++i) {
        const glslang::TObjectReflection& input = program.getPipeInput(i);
        const QString name = QString::fromStdString(input.name);
        if (name.startsWith(QLatin1String("gl_")))
            continue;
        int line = declarationLine(lines, QStringLiteral("varying"), name);
        if (line == 0)
            line = declarationLine(lines, QStringLiteral("in"), name);
        if (name != QLatin1String("texCoord"))
            report.add(
                place, Finding::Error,
                QStringLiteral("input '%1' is not one the editor gives (only texCoord)").arg(name),
                line);
        else if (input.glDefineType != kVec2)
            report.add(place, Finding::Error, QStringLiteral("input 'texCoord' must be a vec2"),
                       line);
    }
}

}  // namespace

void ShaderCheck::check(const QString& path, const ShaderUse& use, const CheckPlace& place,
                        CheckReport& report) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        report.add(place, Finding::Error,
                   QStringLiteral("cannot read the shader: %1").arg(file.errorString()));
        return;
    }
    const QByteArray source = file.readAll();
    if (source.contains('\0')) {
        report.add(place, Finding::Error, QStringLiteral("not a text file: a shader is GLSL text"));
        return;
    }
    const QStringList lines = QString::fromUtf8(source).split(QLatin1Char('\n'));
    if (!checkVersion(lines, place, report))
        return;

    initialiseCompiler();
    glslang::TShader shader(EShLangFragment);
    const char* text = source.constData();
    const int length = source.size();
    shader.setStringsWithLengths(&text, &length, 1);
    const bool parsed = shader.parse(GetDefaultResources(), 110, false, EShMsgDefault);
    reportLog(shader.getInfoLog(), place, report);
    if (!parsed)
        return;

    glslang::TProgram program;
    program.addShader(&shader);
    if (!program.link(EShMsgDefault)) {
        reportLog(program.getInfoLog(), place, report);
        return;
    }
    program.buildReflection(EShReflectionIntermediateIO);  // inputs too: there is no vertex stage
    checkContract(program, lines, use, place, report);
}

}  // namespace Cli
