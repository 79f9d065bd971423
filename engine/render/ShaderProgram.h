#pragma once

#include <map>
#include <string>

namespace Velda {

class Context3d;
class Matrix4;
class VertexBufferObject;

// A compiled and linked GL program with its names found by reflection. All
// access by name; a name the program does not have is silently skipped.
// GL thread only.
class ShaderProgram {
public:
    using Macros = std::map<std::string, std::string>;

    // Creates the program, the vertex shader and the fragment shader names.
    explicit ShaderProgram(Context3d* owner);
    ~ShaderProgram();
    ShaderProgram(const ShaderProgram&) = delete;
    ShaderProgram& operator=(const ShaderProgram&) = delete;

    // "#version 120 \n", a "#define name value" line per macro, the section
    // text. A failing compile throws std::logic_error(source + separator + log).
    void compileVertex(const std::string& source, const Macros& macros);
    void compileFragment(const std::string& source, const Macros& macros);
    // Links (status unread) and fills the three name tables.
    void link();

    void setMatrix(const std::string& name, const Matrix4& matrix);
    void setVec4Array(const std::string& name, int count, const float* values);
    void setFloat(const std::string& name, float value);
    void setVec2(const std::string& name, float x, float y);
    void setVec3(const std::string& name, float x, float y, float z);
    // The same value for every vertex: the attribute's array is switched off.
    void setConstantAttribute(const std::string& name, float value);
    // Client-side floats (full-screen quads): no buffer bound.
    void setAttributeArray(const std::string& name, const float* floats, int firstFloat, int components,
                           int strideFloats);
    // A vertex buffer of the mesh: offset and components in floats.
    void setAttributeBuffer(const std::string& name, const VertexBufferObject* buffer, int offset, int components);
    // Magnification always GL_LINEAR; wrap goes to S and T; border 1, 1, 1, 0.
    void setTexture2D(const std::string& name, unsigned int texture, int minFilter, int wrap);
    // Binds GL_TEXTURE_1D but sets its parameters on GL_TEXTURE_2D.
    void setTexture1D(const std::string& name, unsigned int texture, int minFilter, int wrap);
    void setTextureCube(const std::string& name, unsigned int texture);
    // A table read texel by texel: bound as it is, its parameters untouched.
    void setDataTexture(const std::string& name, unsigned int texture);

    unsigned int program() const { return program_; }
    bool hasAttribute(const std::string& name) const { return attributes_.count(name) != 0; }
    bool hasUniform(const std::string& name) const { return uniforms_.count(name) != 0; }
    const std::map<std::string, int>& attributes() const { return attributes_; }
    const std::map<std::string, int>& uniforms() const { return uniforms_; }
    const std::map<std::string, int>& samplers() const { return samplers_; }
    const std::string& vertexSource() const { return vertexSource_; }
    const std::string& fragmentSource() const { return fragmentSource_; }

    // The 76 characters between source and log in a compile error.
    static const char* const kErrorSeparator;

private:
    Context3d* owner_;
    unsigned int vertexShader_ = 0;
    unsigned int fragmentShader_ = 0;
    unsigned int program_ = 0;
    std::string vertexSource_;
    std::string fragmentSource_;
    std::map<std::string, int> attributes_;
    std::map<std::string, int> uniforms_;
    std::map<std::string, int> samplers_;
    int nextUnit_ = 0;
};

} // namespace Velda
