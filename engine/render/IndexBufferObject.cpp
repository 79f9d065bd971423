#include "render/IndexBufferObject.h"

#include <GL/glew.h>

namespace Velda {

IndexBufferObject::IndexBufferObject(uint32_t count, const void* data, bool wide)
{
    glGenBuffers(1, &buffer_);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, buffer_);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, static_cast<GLsizeiptr>(count) * (wide ? 4 : 2), data, GL_STATIC_DRAW);
}

IndexBufferObject::~IndexBufferObject()
{
    destroy();
}

IndexBufferObject& IndexBufferObject::operator=(IndexBufferObject&& other) noexcept
{
    if (this != &other) {
        destroy();
        buffer_ = other.buffer_;
        other.buffer_ = 0;
    }
    return *this;
}

void IndexBufferObject::destroy()
{
    if (buffer_ == 0)
        return;  // moved from
    glDisableClientState(GL_INDEX_ARRAY);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    glDeleteBuffers(1, &buffer_);
    buffer_ = 0;
}

void IndexBufferObject::update(uint32_t first, uint32_t count, const void* data, bool wide)
{
    const GLsizeiptr unit = wide ? 4 : 2;
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, buffer_);
    glBufferSubData(GL_ELEMENT_ARRAY_BUFFER, unit * first, unit * count, data);
}

} // namespace Velda
