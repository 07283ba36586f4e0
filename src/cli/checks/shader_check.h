#pragma once

#include <QString>

#include "cli/checks/check_report.h"

namespace Cli {

// What the component around a shader gives it.
struct ShaderUse {
    bool transition = false;         // a transition: it also gets `target` and `progress`
    bool hasAuxImage = false;        // the component names an auxiliary image that exists
    bool supportsIntensity = false;  // the component says that the shader honours `intensity`
};

// Compiles one shader file as the editor's fragment shader and checks it against the contract of
// docs/shaders.md: compile and link errors with the shader's own line numbers, a GLSL version the
// editor cannot run, uniforms and inputs that the editor does not set or that have the wrong type,
// and an auxiliary image that is sampled but not given (errors); an intensity the component does
// not announce and an auxiliary image that is never sampled (warnings). Owns nothing.
class ShaderCheck {
public:
    static void check(const QString& path, const ShaderUse& use, const CheckPlace& place,
                      CheckReport& report);
};

}  // namespace Cli
