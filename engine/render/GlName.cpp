#include "render/GlName.h"

#include <GL/glew.h>

namespace Velda {

GlName& GlName::operator=(GlName&& other) noexcept
{
    if (this != &other) {
        reset();
        kind_ = other.kind_;
        name_ = other.name_;
        other.name_ = 0;
    }
    return *this;
}

void GlName::reset()
{
    if (name_ == 0)
        return;
    switch (kind_) {
    case kTexture:
        glDeleteTextures(1, &name_);
        break;
    case kFramebuffer:
        glDeleteFramebuffers(1, &name_);
        break;
    case kRenderbuffer:
        glDeleteRenderbuffers(1, &name_);
        break;
    case kBuffer:
        glDeleteBuffers(1, &name_);
        break;
    }
    name_ = 0;
}

GlName GlName::makeTexture()
{
    GLuint name = 0;
    glGenTextures(1, &name);
    return GlName(kTexture, name);
}

GlName GlName::makeFramebuffer()
{
    GLuint name = 0;
    glGenFramebuffers(1, &name);
    return GlName(kFramebuffer, name);
}

GlName GlName::makeRenderbuffer()
{
    GLuint name = 0;
    glGenRenderbuffers(1, &name);
    return GlName(kRenderbuffer, name);
}

} // namespace Velda
