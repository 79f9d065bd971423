#pragma once

#include <string>

namespace VeldaTest {

enum class ShaderStage { Vertex, Fragment };

struct GlslCheck {
    bool ok = false;
    std::string log;
};

// Checks a shader text as strict GLSL 1.20: glslangValidator must accept it
// ("#version 120" is put in front when the text has no #version), and forms
// that Mesa lets through but other drivers reject are refused: float
// literals with an "f" suffix and initialised uniform arrays.
GlslCheck validateGlsl120(const std::string& source, ShaderStage stage);

} // namespace VeldaTest
