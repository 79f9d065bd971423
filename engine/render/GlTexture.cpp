#include "render/GlTexture.h"

#include <GL/glew.h>

namespace Velda {

GlTexture::GlTexture(unsigned int target, unsigned int format, unsigned int type)
    : target_(target), format_(format), type_(type)
{
}

GlTexture::~GlTexture()
{
    destroy();
}

GlTexture::GlTexture(GlTexture&& other) noexcept
    : texture_(other.texture_), target_(other.target_), format_(other.format_), type_(other.type_)
{
    other.texture_ = 0;
}

GlTexture& GlTexture::operator=(GlTexture&& other) noexcept
{
    if (this != &other) {
        destroy();
        texture_ = other.texture_;
        target_ = other.target_;
        format_ = other.format_;
        type_ = other.type_;
        other.texture_ = 0;
    }
    return *this;
}

void GlTexture::generate()
{
    glGenTextures(1, &texture_);
    glBindTexture(target_, texture_);
}

void GlTexture::destroy()
{
    if (texture_ == 0)
        return;
    glBindTexture(target_, 0);
    glDeleteTextures(1, &texture_);
    glDisable(target_);
    texture_ = 0;
}

} // namespace Velda
