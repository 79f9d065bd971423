#include "render/LightingProcessor.h"

#include "render/Context3d.h"
#include "render/FrameContext.h"
#include "render/MultisampleCount.h"
#include "render/ScreenRectangle.h"
#include "scene/Camera.h"

#include <GL/glew.h>

namespace Velda {

void LightingProcessor::releaseResources()
{
    multisampleDepth_.reset();
    multisampleTexture_.reset();
    multisampleFrameBuffer_.reset();
    resolve_.reset();
}

void LightingProcessor::createMultisample()
{
    if (samples_ == 0)
        samples_ = multisampleCount();
    multisampleFrameBuffer_ = GlName::makeFramebuffer();
    glBindFramebuffer(GL_FRAMEBUFFER, multisampleFrameBuffer_.get());
    multisampleTexture_ = GlName::makeTexture();
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, multisampleTexture_.get());
    glTexImage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, samples_, GL_RGBA16F, width_, height_, GL_TRUE);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D_MULTISAMPLE,
                           multisampleTexture_.get(), 0);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, 0);
    multisampleDepth_ = GlName::makeRenderbuffer();
    glBindRenderbuffer(GL_RENDERBUFFER, multisampleDepth_.get());
    glRenderbufferStorageMultisample(GL_RENDERBUFFER, samples_, GL_DEPTH24_STENCIL8, width_, height_);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, multisampleDepth_.get());
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
}

void LightingProcessor::prepare()
{
    if (scaledWidth() != width_ || scaledHeight() != height_) {
        width_ = scaledWidth();
        height_ = scaledHeight();
        releaseResources();
    }
    bool made = false;
    if (!multisampleFrameBuffer_) {
        createMultisample();
        made = true;
    }
    if (!resolve_) {
        resolve_ = RenderTarget::make(TargetLayout::floatColor(width_, height_, GL_RGBA16F, GL_RGBA, GL_LINEAR,
                                                             GL_CLAMP_TO_BORDER, true, GL_DEPTH24_STENCIL8),
                                      static_cast<unsigned>(owner_->frameBuffer));
        owner_->namedTextures["sceneTexure"] = resolve_.tex();
        made = true;
    }
    // Published every frame: a second set of passes may have named its own.
    owner_->namedTextures["sceneTexure"] = resolve_.tex();
    if (made)
        glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(owner_->frameBuffer));
}

void LightingProcessor::process(const RenderList& opaque, const RenderList& blended, bool clear)
{
    Camera* camera = owner_->frameContext->camera;
    glBindFramebuffer(GL_FRAMEBUFFER, multisampleFrameBuffer_.get());
    disableVertexArrays();
    glViewport(0, 0, width_, height_);
    const Vector4& background = camera->getClearColor();
    glClearColor(background.x, background.y, background.z, background.w);
    glClearDepth(1.0);
    glDepthMask(GL_TRUE);
    if (clear)
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);

    for (const RenderList* list : {&opaque, &blended}) {
        if (list->empty())
            continue;
        if (camera->hasChanged())
            camera->setViewProjection(camera->getProjection() * camera->getInverseTransform());
        drawGeometry(*list, "light", camera->getViewProjection());
    }

    glBindFramebuffer(GL_READ_FRAMEBUFFER, multisampleFrameBuffer_.get());
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, resolve_.fbo());
    glBlitFramebuffer(0, 0, width_, height_, 0, 0, width_, height_, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(owner_->frameBuffer));
}

} // namespace Velda
