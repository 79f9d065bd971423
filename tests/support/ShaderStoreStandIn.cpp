// Stands in for the shader store until it is on this branch: the widget
// tests link the renderer but never draw. Removed with the merge that
// brings the store.
#include "render/ShaderManager.h"
#include "render/ShaderProgram.h"

namespace Velda {

ShaderManager::~ShaderManager() = default;
ShaderProgram* ShaderManager::acquireProgram(const std::string&, FrameContext*, RenderItem*) { return nullptr; }
ShaderProgram::ShaderProgram(Context3d* owner) : owner_(owner) {}
ShaderProgram::~ShaderProgram() = default;
void ShaderProgram::setMatrix(const std::string&, const Matrix4&) {}
void ShaderProgram::setVec4Array(const std::string&, int, const float*) {}
void ShaderProgram::setFloat(const std::string&, float) {}
void ShaderProgram::setAttributeArray(const std::string&, const float*, int, int, int) {}
void ShaderProgram::setAttributeBuffer(const std::string&, const VertexBufferObject*, int, int) {}
void ShaderProgram::setTexture2D(const std::string&, unsigned int, int, int) {}
void ShaderProgram::setTexture1D(const std::string&, unsigned int, int, int) {}
void ShaderProgram::setTextureCube(const std::string&, unsigned int) {}

} // namespace Velda
