# Writes the program texts into one C++ source as raw string literals, so
# the engine reads nothing from disk at run time.
#   cmake -DSHADER_DIR=<dir> -DNAMES=<a,b,...> -DOUTPUT=<file.cpp> -P EmbedShaders.cmake
string(REPLACE "," ";" names "${NAMES}")
set(delimiter "glsl")
set(entries "")
foreach(name IN LISTS names)
  file(READ "${SHADER_DIR}/${name}.glsl" text)
  string(FIND "${text}" ")${delimiter}\"" clash)
  if(NOT clash EQUAL -1)
    message(FATAL_ERROR "${name}.glsl holds the literal's closing delimiter )${delimiter}\"")
  endif()
  string(APPEND entries "        {\"${name}\", R\"${delimiter}(${text})${delimiter}\"},\n")
endforeach()

set(content "// Generated from engine/render/shaders/*.glsl by EmbedShaders.cmake; do not edit.
#include \"render/ShaderTexts.h\"

namespace Velda {

const ShaderTextEntry* builtInShaderTexts()
{
    static const ShaderTextEntry texts[] = {
${entries}        {nullptr, nullptr},
    };
    return texts;
}

} // namespace Velda
")
file(WRITE "${OUTPUT}" "${content}")
