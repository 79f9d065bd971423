#include "render/Texture1D.h"

#include <GL/glew.h>

namespace Velda {

Texture1D::Texture1D(int width, unsigned int format, unsigned int type, const void* data)
    : format_(format), type_(type)
{
    glGenTextures(1, &texture_);
    glBindTexture(GL_TEXTURE_1D, texture_);
    glTexImage1D(GL_TEXTURE_1D, 0, 4, width, 0, format, type, data);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
}

Texture1D::~Texture1D()
{
    destroy();
}

Texture1D::Texture1D(Texture1D&& other) noexcept
    : texture_(other.texture_), format_(other.format_), type_(other.type_)
{
    other.texture_ = 0;
}

Texture1D& Texture1D::operator=(Texture1D&& other) noexcept
{
    if (this != &other) {
        destroy();
        texture_ = other.texture_;
        format_ = other.format_;
        type_ = other.type_;
        other.texture_ = 0;
    }
    return *this;
}

void Texture1D::destroy()
{
    if (texture_ == 0)
        return;  // moved from
    glBindTexture(GL_TEXTURE_1D, 0);
    glDeleteTextures(1, &texture_);
    glDisable(GL_TEXTURE_1D);
    texture_ = 0;
}

void Texture1D::update(int x, int width, const void* data)
{
    glEnable(GL_TEXTURE_1D);
    glBindTexture(GL_TEXTURE_1D, texture_);
    glTexSubImage1D(GL_TEXTURE_1D, 0, x, width, format_, type_, data);
}

} // namespace Velda
