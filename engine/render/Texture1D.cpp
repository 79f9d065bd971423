#include "render/Texture1D.h"

#include <GL/glew.h>

namespace Velda {

Texture1D::Texture1D(int width, unsigned int format, unsigned int type, const void* data)
    : GlTexture(GL_TEXTURE_1D, format, type)
{
    generate();
    glTexImage1D(GL_TEXTURE_1D, 0, 4, width, 0, format, type, data);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
}

void Texture1D::update(int x, int width, const void* data)
{
    glEnable(GL_TEXTURE_1D);
    glBindTexture(GL_TEXTURE_1D, texture_);
    glTexSubImage1D(GL_TEXTURE_1D, 0, x, width, format_, type_, data);
}

} // namespace Velda
