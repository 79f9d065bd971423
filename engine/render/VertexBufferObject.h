#pragma once

#include <cstdint>

namespace Velda {

// A GL_ARRAY_BUFFER of floats, created with GL_STATIC_DRAW and deleted with
// the object. GL context thread only.
class VertexBufferObject {
public:
    VertexBufferObject(int floatsPerVertex, uint32_t vertexCount, const float* data);
    ~VertexBufferObject();
    VertexBufferObject(VertexBufferObject&& other) noexcept;
    VertexBufferObject& operator=(VertexBufferObject&& other) noexcept;
    VertexBufferObject(const VertexBufferObject&) = delete;
    VertexBufferObject& operator=(const VertexBufferObject&) = delete;

    // Replaces vertexCount vertices at a byte offset, passed on as given.
    void update(uint32_t byteOffset, uint32_t vertexCount, const float* data);
    unsigned int name() const { return buffer_; }
    int floatsPerVertex() const { return floatsPerVertex_; }

private:
    void destroy();

    unsigned int buffer_ = 0;
    int floatsPerVertex_ = 0;
};

} // namespace Velda
