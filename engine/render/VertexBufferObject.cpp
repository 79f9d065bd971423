#include "render/VertexBufferObject.h"

#include <GL/glew.h>

#include <utility>

namespace Velda {

VertexBufferObject::VertexBufferObject(int floatsPerVertex, uint32_t vertexCount, const float* data)
    : floatsPerVertex_(floatsPerVertex)
{
    glGenBuffers(1, &buffer_);
    glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(4u) * floatsPerVertex * vertexCount, data,
                 GL_STATIC_DRAW);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
}

VertexBufferObject::~VertexBufferObject()
{
    destroy();
}

VertexBufferObject::VertexBufferObject(VertexBufferObject&& other) noexcept
    : buffer_(std::exchange(other.buffer_, 0u)), floatsPerVertex_(other.floatsPerVertex_)
{
}

VertexBufferObject& VertexBufferObject::operator=(VertexBufferObject&& other) noexcept
{
    if (this != &other) {
        destroy();
        buffer_ = std::exchange(other.buffer_, 0u);
        floatsPerVertex_ = other.floatsPerVertex_;
    }
    return *this;
}

void VertexBufferObject::destroy()
{
    if (buffer_ == 0)
        return;  // moved from
    glDisableClientState(GL_VERTEX_ARRAY);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glDeleteBuffers(1, &buffer_);
    buffer_ = 0;
}

void VertexBufferObject::update(uint32_t byteOffset, uint32_t vertexCount, const float* data)
{
    glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    glBufferSubData(GL_ARRAY_BUFFER, byteOffset, static_cast<GLsizeiptr>(4u) * floatsPerVertex_ * vertexCount, data);
}

} // namespace Velda
