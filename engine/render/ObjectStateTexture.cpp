#include "render/ObjectStateTexture.h"

#include "scene/ReviewState.h"

#include <GL/glew.h>

#include <vector>

namespace Velda {

void ObjectStateTexture::update(const ReviewState& state, size_t objects)
{
    if (texture_ && objects == objects_ && state.version() == version_)
        return;
    const int rows = static_cast<int>((objects + 1 + kRowTexels - 1) / kRowTexels);
    std::vector<unsigned char> texels(static_cast<size_t>(rows) * kRowTexels * 4, 0);
    for (size_t i = 1; i <= objects; ++i) {
        texels[4 * i] = state.hidden(static_cast<uint32_t>(i)) ? 255 : 0;
        texels[4 * i + 3] = 255;
    }
    for (uint32_t object : state.selection())
        if (object <= objects)
            texels[4 * static_cast<size_t>(object) + 1] = 255;

    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    if (!texture_ || rows != rows_) {
        texture_ = GlName::makeTexture();
        glBindTexture(GL_TEXTURE_2D, texture_.get());
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, kRowTexels, rows, 0, GL_RGBA, GL_UNSIGNED_BYTE, texels.data());
    } else {
        glBindTexture(GL_TEXTURE_2D, texture_.get());
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kRowTexels, rows, GL_RGBA, GL_UNSIGNED_BYTE, texels.data());
    }
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    rows_ = rows;
    objects_ = objects;
    version_ = state.version();
}

} // namespace Velda
