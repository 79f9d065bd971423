#include "render/RenderTarget.h"

#include <GL/glew.h>

namespace Velda {

TargetLayout TargetLayout::floatColor(int width, int height, int internalFormat, unsigned int format, int filter,
                                  int wrap, bool border, unsigned int depthFormat)
{
    TargetLayout s;
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

RenderTarget RenderTarget::make(const TargetLayout& layout, unsigned int rebind)
{
    RenderTarget target;
    target.frameBuffer = GlName::makeFramebuffer();
    glBindFramebuffer(GL_FRAMEBUFFER, target.frameBuffer.get());
    target.texture = GlName::makeTexture();
    glBindTexture(GL_TEXTURE_2D, target.texture.get());
    if (layout.filter) {
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, layout.filter);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, layout.filter);
    }
    if (layout.wrap) {
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, layout.wrap);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, layout.wrap);
    }
    if (layout.border) {
        const GLfloat color[4] = {1.0f, 1.0f, 1.0f, 0.0f};
        glTexParameterfv(GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR, color);
    }
    glTexImage2D(GL_TEXTURE_2D, 0, layout.internalFormat, layout.width, layout.height, 0, layout.format, layout.type, nullptr);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target.texture.get(), 0);
    glBindTexture(GL_TEXTURE_2D, 0);
    if (layout.depthFormat) {
        target.depth = GlName::makeRenderbuffer();
        glBindRenderbuffer(GL_RENDERBUFFER, target.depth.get());
        glRenderbufferStorage(GL_RENDERBUFFER, layout.depthFormat, layout.width, layout.height);
        const GLenum attachment =
            layout.depthFormat == GL_DEPTH24_STENCIL8 ? GL_DEPTH_STENCIL_ATTACHMENT : GL_DEPTH_ATTACHMENT;
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
