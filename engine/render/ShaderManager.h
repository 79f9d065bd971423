#pragma once

#include <map>
#include <string>

namespace Velda {

class Context3d;
class ShaderProgram;
struct FrameContext;
struct RenderItem;

// The store of compiled programs: name plus variant key to program, filled
// on first demand and kept to the end.
class ShaderManager {
public:
    explicit ShaderManager(Context3d* owner) : owner_(owner) {}
    virtual ~ShaderManager();
    ShaderManager(const ShaderManager&) = delete;
    ShaderManager& operator=(const ShaderManager&) = delete;

    // `item` may be null for the full-screen programs; `context` is not read.
    // Throws what the compile throws; nothing half-made is stored.
    ShaderProgram* acquireProgram(const std::string& name, FrameContext* context, RenderItem* item);

    const std::map<std::string, ShaderProgram*>& programs() const { return programs_; }

private:
    Context3d* owner_;
    std::map<std::string, ShaderProgram*> programs_;
};

// The item's variant key, rebuilt with its macro table when macrosReady is
// false, read otherwise.
const std::string& variantKeyOf(RenderItem& item);

// The program text of a name ("light", "SSAO", ...), built into the program;
// empty for an unknown name.
const std::string& shaderText(const std::string& name);

// Cuts one section ("global", "vertex" or "fragment") out of a program text.
std::string shaderSection(const std::string& text, const std::string& section);
// The section as it is compiled: each line `#include "name"` becomes the same
// section of that built-in text (which includes nothing itself). Throws
// std::logic_error for an unknown name.
std::string programSection(const std::string& text, const std::string& section);

} // namespace Velda
