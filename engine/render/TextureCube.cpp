#include "render/TextureCube.h"

#include <GL/glew.h>

namespace Velda {

TextureCube::TextureCube(const int widths[6], const int heights[6], const void* const pixels[6],
                         unsigned int format, unsigned int type)
    : GlTexture(GL_TEXTURE_CUBE_MAP, format, type)
{
    generate();
    for (int i = 0; i < 6; ++i)
        glTexImage2D(GL_TEXTURE_CUBE_MAP_POSITIVE_X + i, 0, 4, widths[i], heights[i], 0, format, type, pixels[i]);
    glTexParameteri(GL_TEXTURE_CUBE_MAP, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_CUBE_MAP, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_CUBE_MAP, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_CUBE_MAP, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_CUBE_MAP, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
    glBindTexture(GL_TEXTURE_CUBE_MAP, 0);
}

void TextureCube::update(const int widths[6], const int heights[6], const void* const pixels[6])
{
    glEnable(GL_TEXTURE_CUBE_MAP);
    glBindTexture(GL_TEXTURE_CUBE_MAP, texture_);
    for (int i = 0; i < 6; ++i)
        glTexSubImage2D(GL_TEXTURE_CUBE_MAP_POSITIVE_X + i, 0, 0, 0, widths[i], heights[i], format_, type_,
                        pixels[i]);
}

} // namespace Velda
