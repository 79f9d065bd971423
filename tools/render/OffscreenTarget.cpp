#include "OffscreenTarget.h"

#include <GL/glew.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace VeldaRender {

OffscreenTarget::OffscreenTarget(int width, int height)
    : width_(width),
      height_(height),
      frameBuffer_(Velda::GlName::makeFramebuffer()),
      color_(Velda::GlName::makeTexture()),
      depth_(Velda::GlName::makeRenderbuffer())
{
    GLint previous = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previous);
    glBindTexture(GL_TEXTURE_2D, color_.get());
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glBindTexture(GL_TEXTURE_2D, 0);
    glBindRenderbuffer(GL_RENDERBUFFER, depth_.get());
    glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH24_STENCIL8, width, height);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);

    glBindFramebuffer(GL_FRAMEBUFFER, frameBuffer_.get());
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, color_.get(), 0);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, depth_.get());
    const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(previous));
    if (status != GL_FRAMEBUFFER_COMPLETE)
        throw std::runtime_error("off-screen frame buffer of " + std::to_string(width) + "x" +
                                 std::to_string(height) + " is incomplete (status " + std::to_string(status) + ")");
}

void OffscreenTarget::bind() const
{
    glBindFramebuffer(GL_FRAMEBUFFER, frameBuffer_.get());
    glViewport(0, 0, width_, height_);
}

std::vector<unsigned char> OffscreenTarget::readRgba() const
{
    const size_t row = static_cast<size_t>(width_) * 4;
    std::vector<unsigned char> bottomUp(row * static_cast<size_t>(height_));
    glBindFramebuffer(GL_READ_FRAMEBUFFER, frameBuffer_.get());
    glReadBuffer(GL_COLOR_ATTACHMENT0);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width_, height_, GL_RGBA, GL_UNSIGNED_BYTE, bottomUp.data());
    // GL counts rows from the bottom; pictures from the top.
    std::vector<unsigned char> topDown(bottomUp.size());
    for (int y = 0; y < height_; ++y)
        std::memcpy(&topDown[static_cast<size_t>(y) * row], &bottomUp[static_cast<size_t>(height_ - 1 - y) * row],
                    row);
    return topDown;
}

} // namespace VeldaRender
