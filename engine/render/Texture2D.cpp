#include "render/Texture2D.h"

#include <GL/glew.h>
#include <GL/glu.h>

namespace Velda {

Texture2D::Texture2D(int width, int height, unsigned int format, unsigned int type, const void* pixels,
                     bool mipmapped)
    : GlTexture(GL_TEXTURE_2D, format, type), width_(width), height_(height), mipmapped_(mipmapped)
{
    generate();
    if (mipmapped_) {
        // Rescales a size that is not a power of two.
        gluBuild2DMipmaps(GL_TEXTURE_2D, 4, width_, height_, format_, type_, pixels);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
    } else {
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width_, height_, 0, format_, type_, pixels);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    }
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_MIRRORED_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_MIRRORED_REPEAT);
}

void Texture2D::update(int x, int y, int width, int height, int level, const void* pixels)
{
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, texture_);
    glTexSubImage2D(GL_TEXTURE_2D, level, x, y, width, height, format_, type_, pixels);
}

} // namespace Velda
