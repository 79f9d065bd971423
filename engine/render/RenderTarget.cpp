#include "render/RenderTarget.h"

#include <GL/glew.h>

namespace Velda {

TargetSpec TargetSpec::floatColor(int width, int height, int internalFormat, unsigned int format, int filter,
                                  int wrap, bool border, unsigned int depthFormat)
{
    TargetSpec s;
    s.width = width;
    s.height = height;
    s.internalFormat = internalFormat;
    s.format = format;
    s.type = GL_FLOAT;
    s.filter = filter;
    s.wrap = wrap;
    s.border = border;
    s.depthFormat = depthFormat;
    return s;
}

RenderTarget RenderTarget::make(const TargetSpec& spec, unsigned int rebind)
{
    RenderTarget target;
    target.frameBuffer = GlName::makeFramebuffer();
    glBindFramebuffer(GL_FRAMEBUFFER, target.frameBuffer.get());
    target.texture = GlName::makeTexture();
    glBindTexture(GL_TEXTURE_2D, target.texture.get());
    if (spec.filter) {
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, spec.filter);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, spec.filter);
    }
    if (spec.wrap) {
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, spec.wrap);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, spec.wrap);
    }
    if (spec.border) {
        const GLfloat color[4] = {1.0f, 1.0f, 1.0f, 0.0f};
        glTexParameterfv(GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, color);
    }
    glTexImage2D(GL_TEXTURE_2D, 0, spec.internalFormat, spec.width, spec.height, 0, spec.format, spec.type, nullptr);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target.texture.get(), 0);
    glBindTexture(GL_TEXTURE_2D, 0);
    if (spec.depthFormat) {
        target.depth = GlName::makeRenderbuffer();
        glBindRenderbuffer(GL_RENDERBUFFER, target.depth.get());
        glRenderbufferStorage(GL_RENDERBUFFER, spec.depthFormat, spec.width, spec.height);
        const GLenum attachment =
            spec.depthFormat == GL_DEPTH24_STENCIL8 ? GL_DEPTH_STENCIL_ATTACHMENT : GL_DEPTH_ATTACHMENT;
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, attachment, GL_RENDERBUFFER, target.depth.get());
        glBindRenderbuffer(GL_RENDERBUFFER, 0);
    }
    glBindFramebuffer(GL_FRAMEBUFFER, rebind);
    return target;
}

void RenderTarget::reset()
{
    // Depth and texture go before the frame buffer that holds them.
    depth.reset();
    texture.reset();
    frameBuffer.reset();
}

} // namespace Velda
