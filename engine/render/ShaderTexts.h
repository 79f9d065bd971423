#pragma once

namespace Velda {

// One program text as built into the engine.
struct ShaderTextEntry {
    const char* name;
    const char* text;
};

// Every built-in program text; the list ends with an entry whose name is null.
// The definition is generated at build time from engine/render/shaders.
const ShaderTextEntry* builtInShaderTexts();

} // namespace Velda
