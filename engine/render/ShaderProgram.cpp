#include "render/ShaderProgram.h"

#include "render/VertexBufferObject.h"
#include "scene/Matrix4.h"

#include <GL/glew.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace Velda {

const char* const ShaderProgram::kErrorSeparator =
    "////////////////////////////////////////////////////////////////////////// \n";

namespace {

// Reflection writes every active name here. Shared by all programs: an index
// past the real count leaves the last name in place.
char activeName[256];

void compileStage(GLuint shader, std::string& kept, const std::string& source,
                  const ShaderProgram::Macros& macros)
{
    kept = "#version 120 \n";
    for (const auto& macro : macros)
        kept += "#define " + macro.first + " " + macro.second + "\n";
    kept += source;

    const char* text = kept.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint status = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
    if (status != 0)
        return;
    GLint length = 0;
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    std::vector<char> log(static_cast<size_t>(length > 0 ? length : 0) + 1, '\0');
    glGetShaderInfoLog(shader, static_cast<GLsizei>(log.size()), nullptr, log.data());
    throw std::logic_error(kept + ShaderProgram::kErrorSeparator + log.data());
}

// Enables an attribute the program has and points it at floats in a buffer,
// or in client memory for buffer 0.
void pointAttribute(const std::map<std::string, int>& attributes, const std::string& name, GLuint buffer,
                    int components, int strideFloats, const void* pointer)
{
    const auto found = attributes.find(name);
    if (found == attributes.end())
        return;
    const GLuint location = static_cast<GLuint>(found->second);
    glEnableVertexAttribArray(location);
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glVertexAttribPointer(location, components, GL_FLOAT, GL_FALSE, 4 * strideFloats, pointer);
}

// The unit of a sampler the program has, made active with the texture bound
// there; -1 for a name the program does not have.
int bindOnUnit(const std::map<std::string, int>& samplers, const std::string& name, GLenum target, GLuint texture)
{
    const auto found = samplers.find(name);
    if (found == samplers.end())
        return -1;
    glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(found->second));
    glBindTexture(target, texture);
    return found->second;
}

void setParametersOn2D(int minFilter, int wrap)
{
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minFilter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, wrap);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, wrap);
}

} // namespace

ShaderProgram::ShaderProgram(Context3d* owner) : owner_(owner)
{
    program_ = glCreateProgram();
    vertexShader_ = glCreateShader(GL_VERTEX_SHADER);
    fragmentShader_ = glCreateShader(GL_FRAGMENT_SHADER);
}

ShaderProgram::~ShaderProgram()
{
    glDeleteShader(vertexShader_);
    glDeleteShader(fragmentShader_);
    glDeleteProgram(program_);
}

void ShaderProgram::compileVertex(const std::string& source, const Macros& macros)
{
    compileStage(vertexShader_, vertexSource_, source, macros);
}

void ShaderProgram::compileFragment(const std::string& source, const Macros& macros)
{
    compileStage(fragmentShader_, fragmentSource_, source, macros);
}

void ShaderProgram::link()
{
    glAttachShader(program_, vertexShader_);
    glAttachShader(program_, fragmentShader_);
    glLinkProgram(program_);

    // The name-length limit, not the count, bounds both loops. An index past
    // the count would only raise GL_INVALID_VALUE and change nothing, so it is
    // not sent: the last name, type and size stand again, and no stale error
    // is left behind for the next glGetError.
    GLint count = 0;
    GLint bound = 0;
    GLint size = 0;
    GLenum type = 0;

    attributes_.clear();
    glGetProgramiv(program_, GL_ACTIVE_ATTRIBUTES, &count);
    glGetProgramiv(program_, GL_ACTIVE_ATTRIBUTE_MAX_LENGTH, &bound);
    for (GLint i = 0; i < bound; ++i) {
        if (i < count)
            glGetActiveAttrib(program_, static_cast<GLuint>(i), sizeof activeName, nullptr, &size, &type, activeName);
        attributes_[activeName] = glGetAttribLocation(program_, activeName);
    }

    uniforms_.clear();
    samplers_.clear();
    nextUnit_ = 0;
    size = 0;
    type = 0;
    glGetProgramiv(program_, GL_ACTIVE_UNIFORMS, &count);
    glGetProgramiv(program_, GL_ACTIVE_UNIFORM_MAX_LENGTH, &bound);
    for (GLint i = 0; i < bound; ++i) {
        if (i < count)
            glGetActiveUniform(program_, static_cast<GLuint>(i), sizeof activeName, nullptr, &size, &type, activeName);
        // "u_Uniform[0]" is stored under its base name.
        if (size > 1)
            for (char& c : activeName)
                if (c == '[')
                    c = '\0';
        uniforms_[activeName] = glGetUniformLocation(program_, activeName);
        if (type == GL_SAMPLER_2D || type == GL_SAMPLER_CUBE || type == GL_SAMPLER_1D || type == GL_SAMPLER_3D) {
            samplers_[activeName] = nextUnit_;
            nextUnit_ += size;
        }
    }
}

void ShaderProgram::setMatrix(const std::string& name, const Matrix4& matrix)
{
    const auto found = uniforms_.find(name);
    if (found != uniforms_.end())
        glUniformMatrix4fv(found->second, 1, GL_FALSE, matrix.m);
}

void ShaderProgram::setVec4Array(const std::string& name, int count, const float* values)
{
    const auto found = uniforms_.find(name);
    if (found != uniforms_.end())
        glUniform4fv(found->second, count, values);
}

void ShaderProgram::setFloat(const std::string& name, float value)
{
    const auto found = uniforms_.find(name);
    if (found != uniforms_.end())
        glUniform1f(found->second, value);
}

void ShaderProgram::setVec3(const std::string& name, float x, float y, float z)
{
    const auto found = uniforms_.find(name);
    if (found != uniforms_.end())
        glUniform3f(found->second, x, y, z);
}

void ShaderProgram::setVec2(const std::string& name, float x, float y)
{
    const auto found = uniforms_.find(name);
    if (found != uniforms_.end())
        glUniform2f(found->second, x, y);
}

void ShaderProgram::setConstantAttribute(const std::string& name, float value)
{
    const auto found = attributes_.find(name);
    if (found == attributes_.end())
        return;
    const GLuint location = static_cast<GLuint>(found->second);
    glDisableVertexAttribArray(location);
    glVertexAttrib1f(location, value);
}

void ShaderProgram::setAttributeArray(const std::string& name, const float* floats, int firstFloat, int components,
                                      int strideFloats)
{
    pointAttribute(attributes_, name, 0, components, strideFloats, floats + firstFloat);
}

void ShaderProgram::setAttributeBuffer(const std::string& name, const VertexBufferObject* buffer, int offset,
                                       int components)
{
    const uintptr_t byteOffset = 4u * static_cast<uintptr_t>(offset);
    pointAttribute(attributes_, name, buffer->name(), components, buffer->floatsPerVertex(),
                   reinterpret_cast<const void*>(byteOffset));
}

void ShaderProgram::setTexture2D(const std::string& name, unsigned int texture, int minFilter, int wrap)
{
    const int unit = bindOnUnit(samplers_, name, GL_TEXTURE_2D, texture);
    if (unit < 0)
        return;
    setParametersOn2D(minFilter, wrap);
    const GLfloat border[4] = {1.0f, 1.0f, 1.0f, 0.0f};
    glTexParameterfv(GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, border);
    glUniform1i(uniforms_.at(name), unit);
}

void ShaderProgram::setTexture1D(const std::string& name, unsigned int texture, int minFilter, int wrap)
{
    const int unit = bindOnUnit(samplers_, name, GL_TEXTURE_1D, texture);
    if (unit < 0)
        return;
    // The parameters fall on whatever 2-D texture the unit holds; the ramp
    // keeps the parameters it was made with.
    setParametersOn2D(minFilter, wrap);
    glUniform1i(uniforms_.at(name), unit);
}

void ShaderProgram::setDataTexture(const std::string& name, unsigned int texture)
{
    const int unit = bindOnUnit(samplers_, name, GL_TEXTURE_2D, texture);
    if (unit >= 0)
        glUniform1i(uniforms_.at(name), unit);
}

void ShaderProgram::setTextureCube(const std::string& name, unsigned int texture)
{
    const int unit = bindOnUnit(samplers_, name, GL_TEXTURE_CUBE_MAP, texture);
    if (unit >= 0)
        glUniform1i(uniforms_.at(name), unit);
}

} // namespace Velda
