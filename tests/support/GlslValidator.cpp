#include "GlslValidator.h"

#include "TempDir.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/wait.h>

namespace VeldaTest {

namespace {

std::string strictnessProblems(const std::string& source)
{
    static const std::regex suffixedFloat(R"((^|[^\w.])(\d+\.\d*|\.\d+|\d+(\.\d*)?[eE][+-]?\d+)[fF]\b)");
    static const std::regex uniformArrayInit(R"(\buniform\s+\w+\s+\w+\s*\[[^\]]*\]\s*=)");
    std::ostringstream problems;
    std::istringstream lines(source);
    std::string line;
    for (int n = 1; std::getline(lines, line); ++n) {
        const std::string code = line.substr(0, line.find("//"));
        if (std::regex_search(code, suffixedFloat))
            problems << "line " << n << ": float literal with an f suffix\n";
        if (std::regex_search(code, uniformArrayInit))
            problems << "line " << n << ": initialised uniform array\n";
    }
    return problems.str();
}

} // namespace

GlslCheck validateGlsl120(const std::string& source, ShaderStage stage)
{
    GlslCheck result;
    TempDir dir;
    const std::string file = dir.file(stage == ShaderStage::Vertex ? "shader.vert" : "shader.frag");
    {
        std::ofstream out(file, std::ios::binary);
        if (source.find("#version") == std::string::npos)
            out << "#version 120\n";
        out << source;
    }
    FILE* pipe = popen(("glslangValidator '" + file + "' 2>&1").c_str(), "r");
    if (!pipe) {
        result.log = "cannot run glslangValidator";
        return result;
    }
    std::array<char, 512> chunk;
    size_t n;
    while ((n = std::fread(chunk.data(), 1, chunk.size(), pipe)) > 0)
        result.log.append(chunk.data(), n);
    const int status = pclose(pipe);
    const bool compiled = status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 127)
        result.log += "glslangValidator not found (package glslang-tools)\n";
    const std::string strict = strictnessProblems(source);
    result.log += strict;
    result.ok = compiled && strict.empty();
    return result;
}

} // namespace VeldaTest
