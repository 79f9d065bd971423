#include "render/VertexBufferObject.h"

#include <GL/glew.h>

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
    glDisableClientState(GL_VERTEX_ARRAY);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glDeleteBuffers(1, &buffer_);
}

void VertexBufferObject::update(uint32_t byteOffset, uint32_t vertexCount, const float* data)
{
    glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    glBufferSubData(GL_ARRAY_BUFFER, byteOffset, static_cast<GLsizeiptr>(4u) * floatsPerVertex_ * vertexCount, data);
}

} // namespace Velda
