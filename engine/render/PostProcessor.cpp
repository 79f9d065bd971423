#include "render/PostProcessor.h"

#include "formats/Material.h"
#include "render/Context3d.h"
#include "render/FrameContext.h"
#include "render/IndexBufferObject.h"
#include "render/ReviewBinding.h"
#include "render/ScreenRectangle.h"
#include "render/ShaderManager.h"
#include "render/ShaderProgram.h"
#include "scene/Camera.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace Velda {

namespace {

TargetLayout bloomLayout(int w, int h)
{
    return TargetLayout::floatColor(w, h, GL_RGBA16F, GL_RGBA, GL_LINEAR, GL_CLAMP_TO_BORDER, true, GL_DEPTH_COMPONENT);
}

// Binds a target's frame buffer and sets linear filtering on its texture,
// as each bloom step does before drawing.
void bindLinear(const RenderTarget& target)
{
    glBindFramebuffer(GL_FRAMEBUFFER, target.fbo());
    glBindTexture(GL_TEXTURE_2D, target.tex());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
}

bool drawItem(RenderItem& item)
{
    if (!item.indexBuffer || item.indexCount == 0)
        return false;
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, item.indexBuffer->name());
    glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(item.indexCount),
                   item.indexWidth ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT, nullptr);
    return true;
}

} // namespace

PostProcessor::PostProcessor(Context3d* owner) : BaseProcessor(owner) {}

void PostProcessor::releaseResources()
{
    noiseTexture_.reset();
    for (RenderTarget* t : {&position_, &normal_, &occlusion_, &blur_, &scene_, &bright_})
        t->reset();
    for (RenderTarget& t : pyramid_)
        t.reset();
    for (RenderTarget& t : luminance_)
        t.reset();
}

// A fixed, reproducible sequence: the same command draws the same picture.
// It runs on across resizes, so a new size still gets a new kernel.
float PostProcessor::random()
{
    randomState_ = randomState_ * 1103515245u + 12345u;
    const uint32_t r = (randomState_ >> 16) & 0x7fffu;
    return static_cast<float>(r * (1.0 - 0.0) * 3.0517578125e-05 + 0.0);
}

void PostProcessor::makeKernelAndNoise()
{
    for (int i = 0; i < 64; ++i) {
        const float z = random();
        const float y = 2.0f * random() - 1.0f;
        const float x = 2.0f * random() - 1.0f;
        Vector3 v = Vector3(x, y, z).normalized();
        v *= random();
        float s = static_cast<float>(i) * 0.015625f;
        s = 0.1f * (1.0f - s * s) + s * s;
        v *= s;
        kernel_[i][0] = v.x;
        kernel_[i][1] = v.y;
        kernel_[i][2] = v.z;
        kernel_[i][3] = 1.0f;
    }
    for (auto& n : noise_) {
        const float y = 2.0f * random() - 1.0f;
        const float x = 2.0f * random() - 1.0f;
        n[0] = x;
        n[1] = y;
        n[2] = 0.0f;
        n[3] = 1.0f;
    }
    noiseTexture_ = GlName::makeTexture();
    glBindTexture(GL_TEXTURE_2D, noiseTexture_.get());
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB16F, 4, 4, 0, GL_RGBA, GL_FLOAT, noise_);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    glBindTexture(GL_TEXTURE_2D, 0);
    owner_->namedTextures["SSAONoiseTexure"] = noiseTexture_.get();
}

void PostProcessor::makeSsaoTargets()
{
    const unsigned rebind = static_cast<unsigned>(owner_->frameBuffer);
    auto& named = owner_->namedTextures;
    if (!position_) {
        position_ = RenderTarget::make(
            TargetLayout::floatColor(width_, height_, GL_RGBA32F, GL_RGB, GL_NEAREST, GL_CLAMP_TO_EDGE, false, GL_DEPTH_COMPONENT), rebind);
        named["positionTexure"] = position_.tex();
    }
    if (!normal_) {
        // Unsigned normalised on purpose: negative components clamp to 0,
        // and the occlusion is tuned to that.
        normal_ = RenderTarget::make(TargetLayout::floatColor(width_, height_, GL_RGB, GL_RGB, GL_NEAREST, 0, false, GL_DEPTH_COMPONENT),
                                     rebind);
        named["normalTexure"] = normal_.tex();
    }
    if (!occlusion_) {
        occlusion_ = RenderTarget::make(TargetLayout::floatColor(width_, height_, GL_RED, GL_RGB, GL_NEAREST, 0, false, 0), rebind);
        named["SSAOTexure"] = occlusion_.tex();
        makeKernelAndNoise();
    }
    if (!blur_) {
        blur_ = RenderTarget::make(TargetLayout::floatColor(width_, height_, GL_RED, GL_RGB, GL_NEAREST, 0, false, 0), rebind);
        named["blurSSAOTexure"] = blur_.tex();
    }
    if (!scene_) {
        scene_ = RenderTarget::make(
            TargetLayout::floatColor(width_, height_, GL_RGBA16F, GL_RGBA, GL_LINEAR, GL_CLAMP_TO_BORDER, true, 0), rebind);
        named["SSAOsceneTexure"] = scene_.tex();
    }
}

void PostProcessor::makeBloomTargets()
{
    const unsigned rebind = static_cast<unsigned>(owner_->frameBuffer);
    if (!bright_) {
        bright_ = RenderTarget::make(bloomLayout(width_, height_), rebind);
        owner_->namedTextures["brightSceneTexure"] = bright_.tex();
    }
    for (int i = 0; i < 8; ++i) {
        // Level 0 (targets 0 and 1) is drawn on the specified path only.
        if (pyramid_[i] || (i < 2 && !owner_->faithful))
            continue;
        const int divisor = 1 << (i / 2);
        pyramid_[i] = RenderTarget::make(bloomLayout(width_ / divisor, height_ / divisor), rebind);
    }
    // Only the second luminance target is drawn into; the first is made on
    // the specified path alone.
    for (int i = owner_->faithful ? 0 : 1; i < 2; ++i)
        if (!luminance_[i])
            luminance_[i] = RenderTarget::make(bloomLayout(width_, height_), rebind);
}

void PostProcessor::prepare()
{
    if (scaledWidth() != width_ || scaledHeight() != height_) {
        width_ = scaledWidth();
        height_ = scaledHeight();
        releaseResources();
    }
    makeSsaoTargets();
    makeBloomTargets();
    // Published every frame: a second set of passes may have named its own.
    auto& named = owner_->namedTextures;
    named["positionTexure"] = position_.tex();
    named["normalTexure"] = normal_.tex();
    named["SSAOTexure"] = occlusion_.tex();
    named["SSAONoiseTexure"] = noiseTexture_.get();
    named["blurSSAOTexure"] = blur_.tex();
    named["SSAOsceneTexure"] = scene_.tex();
    named["brightSceneTexure"] = bright_.tex();
}

void PostProcessor::process(const RenderList& opaque, const RenderList& blended, bool)
{
    if (owner_->ssaoPower != 1.0f) {
        RenderList joined(opaque);
        joined.insert(joined.end(), blended.begin(), blended.end());
        geometryPass(joined, normal_, "normalInfo");
        geometryPass(joined, position_, "positionInfo");
        occlusion();
        blurOcclusion();
        applyOcclusion();
    }
    if (owner_->bloomCoefficient != 0.0f) {
        separateBloom();
        gaussianBlur();
        textureLuminance();
    }
    postProcess();
}

void PostProcessor::geometryPass(const RenderList& items, RenderTarget& target, const char* programName)
{
    Camera* camera = owner_->frameContext->camera;
    glBindFramebuffer(GL_FRAMEBUFFER, target.fbo());
    glEnable(GL_DEPTH_TEST);
    glDepthMask(GL_TRUE);
    glDisable(GL_BLEND);
    glViewport(0, 0, width_, height_);
    const Vector4& background = camera->getClearColor();
    glClearColor(background.x, background.y, background.z, background.w);
    glClearDepth(1.0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    const bool positions = std::string(programName) == "positionInfo";
    const std::string name(programName);
    for (RenderItem* item : items) {
        if (!item->material || item->sky)
            continue;
        ShaderProgram* program = owner_->shaderManager->acquireProgram(name, owner_->frameContext, item);
        owner_->useProgram(program);
        program->setMatrix("viewMat", camera->getInverseTransform());
        program->setMatrix("projMat", camera->getProjection());
        program->setMatrix("worldMat", *item->transform);
        if (positions) {
            program->setFloat("zFar", camera->getFar());
            program->setFloat("zNear", camera->getNear());
        } else {
            program->setMatrix("worldMatN", *item->normalMatrix);
        }
        if (item->layout) {
            for (const auto& entry : *item->layout) {
                const LayoutEntry& e = entry.second;
                const bool isPosition = e.name.size() == 8;
                if (positions && !isPosition)
                    continue;
                const std::string attribute = isPosition ? std::string("a_Vertex") : "a_" + e.name;
                if (program->hasAttribute(attribute))
                    program->setAttributeBuffer(attribute, e.buffer, e.offset, e.components);
            }
        }
        const ReviewBinding review(*program, *item, *owner_);
        if (drawItem(*item))
            countDraw(item->indexCount);
    }
}

void PostProcessor::quadPass(RenderTarget& target, const char* programName)
{
    glBindFramebuffer(GL_FRAMEBUFFER, target.fbo());
    glViewport(0, 0, width_, height_);
    glClearDepth(1.0);
    glClear(GL_DEPTH_BUFFER_BIT);
    ShaderProgram* program = owner_->shaderManager->acquireProgram(programName, owner_->frameContext, nullptr);
    owner_->useProgram(program);
}

void PostProcessor::occlusion()
{
    Camera* camera = owner_->frameContext->camera;
    auto& named = owner_->namedTextures;
    quadPass(occlusion_, "SSAO");
    ShaderProgram* p = owner_->shaderManager->acquireProgram("SSAO", owner_->frameContext, nullptr);
    p->setMatrix("u_ProjMat", camera->getProjection());
    p->setFloat("u_Width", static_cast<float>(width_));
    p->setFloat("u_Height", static_cast<float>(height_));
    p->setVec4Array("samples", 64, &kernel_[0][0]);
    p->setFloat("u_radius", owner_->ssaoPower);
    p->setFloat("u_kernelSize", owner_->ssaoKernelSize);
    p->setTexture2D("positionInfo", named["positionTexure"], GL_NEAREST, GL_CLAMP_TO_EDGE);
    p->setTexture2D("normalInfo", named["normalTexure"], GL_NEAREST, GL_CLAMP_TO_EDGE);
    p->setTexture2D("texNoise", named["SSAONoiseTexure"], GL_NEAREST, GL_REPEAT);
    drawClipQuad(*p);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(owner_->frameBuffer));
}

void PostProcessor::blurOcclusion()
{
    quadPass(blur_, "blurSSAO");
    ShaderProgram* p = owner_->shaderManager->acquireProgram("blurSSAO", owner_->frameContext, nullptr);
    p->setFloat("u_Width", static_cast<float>(width_));
    p->setFloat("u_Height", static_cast<float>(height_));
    p->setTexture2D("SSAOTexure", owner_->namedTextures["SSAOTexure"], GL_NEAREST, GL_CLAMP_TO_EDGE);
    drawClipQuad(*p);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(owner_->frameBuffer));
}

void PostProcessor::applyOcclusion()
{
    quadPass(scene_, "rederSSAOScene");
    ShaderProgram* p = owner_->shaderManager->acquireProgram("rederSSAOScene", owner_->frameContext, nullptr);
    p->setTexture2D("blurSSAOTexure", owner_->namedTextures["blurSSAOTexure"], GL_NEAREST, GL_CLAMP_TO_EDGE);
    p->setTexture2D("textureSource", owner_->namedTextures["sceneTexure"], GL_LINEAR, GL_CLAMP_TO_EDGE);
    drawClipQuad(*p);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(owner_->frameBuffer));
}

unsigned int PostProcessor::sourcePicture()
{
    return owner_->namedTextures[owner_->ssaoPower != 1.0f ? "SSAOsceneTexure" : "sceneTexure"];
}

// The luminance of the sun's colour at this time of day: the bright
// filter's threshold and part of the exposure.
float PostProcessor::bloomThreshold()
{
    const float* day = owner_->timeOfDay();
    const float* sun = day + Context3d::kSunColor;
    return (0.2125f * sun[0] + 0.7154f * sun[1] + 0.0721f * sun[2]) * day[Context3d::kSunLevel];
}

void PostProcessor::separateBloom()
{
    const float threshold = bloomThreshold();
    bindLinear(bright_);
    beginRectanglePass(width_, height_);
    ShaderProgram* p = owner_->shaderManager->acquireProgram("separateBloom", owner_->frameContext, nullptr);
    owner_->useProgram(p);
    p->setTexture2D("textureSource", sourcePicture(), GL_LINEAR, GL_CLAMP_TO_EDGE);
    const float params[4] = {threshold, 0.0f, 0.0f, 0.0f};
    p->setVec4Array("params", 1, params);
    drawScreenRectangle(*p, 0.0f, 0.0f, static_cast<float>(width_), static_cast<float>(height_),
                        static_cast<float>(width_), static_cast<float>(height_));
    endRectanglePass();
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(owner_->frameBuffer));
}

void PostProcessor::gaussianBlur()
{
    ShaderProgram* p = owner_->shaderManager->acquireProgram("gaussianBlur", owner_->frameContext, nullptr);
    // The composition never reads the full-size level (see postProcess), and
    // the next level starts from the bright picture, not from it.
    for (int level = owner_->faithful ? 0 : 1; level < 4; ++level) {
        const float scale = std::pow(2.0f, static_cast<float>(level));
        const int w = static_cast<int>(static_cast<float>(width_) / scale);
        const int h = static_cast<int>(static_cast<float>(height_) / scale);
        bool horizontal = true;
        bool first = true;
        for (int step = 0; step < 5; ++step) {
            const int d = 2 * level + (horizontal ? 1 : 0);
            bindLinear(pyramid_[d]);
            beginRectanglePass(w, h);
            owner_->useProgram(p);
            const unsigned source = first ? bright_.tex() : pyramid_[2 * level + (horizontal ? 0 : 1)].tex();
            p->setTexture2D("image", source, GL_LINEAR, GL_CLAMP_TO_EDGE);
            const float params[4] = {static_cast<float>(w), static_cast<float>(h), horizontal ? 1.0f : 0.0f, 0.0f};
            p->setVec4Array("params", 1, params);
            drawScreenRectangle(*p, 0.0f, 0.0f, static_cast<float>(w), static_cast<float>(h), static_cast<float>(w),
                                static_cast<float>(h));
            endRectanglePass();
            horizontal = !horizontal;
            first = false;
            owner_->namedTextures["blurBrightSceneTexure" + std::to_string(level)] = pyramid_[d].tex();
        }
    }
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(owner_->frameBuffer));
}

void PostProcessor::textureLuminance()
{
    RenderTarget& target = luminance_[1];
    glBindFramebuffer(GL_FRAMEBUFFER, target.fbo());
    glEnable(GL_DEPTH_TEST);
    glDepthMask(GL_TRUE);
    glBindTexture(GL_TEXTURE_2D, target.tex());
    // Not a legal format pair: GL refuses it and the texture stays as made.
    // Kept as it has always been issued.
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA16F, std::max(1, width_), std::max(1, height_), 0, GL_RGBA16F, GL_FLOAT,
                 nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    beginRectanglePass(width_, height_);
    ShaderProgram* p = owner_->shaderManager->acquireProgram("textureLuminance", owner_->frameContext, nullptr);
    owner_->useProgram(p);
    p->setTexture2D("u_Sampler", sourcePicture(), GL_LINEAR, GL_CLAMP_TO_EDGE);
    drawScreenRectangle(*p, 0.0f, 0.0f, static_cast<float>(width_), static_cast<float>(height_),
                        static_cast<float>(width_), static_cast<float>(height_), 50.0f);
    endRectanglePass();
    const std::size_t count = static_cast<std::size_t>(std::max(width_, 0)) * static_cast<std::size_t>(std::max(height_, 0));
    if (count > 0) {
        std::vector<float> values(count);
        glPixelStorei(GL_PACK_ALIGNMENT, 4);
        glReadPixels(0, 0, width_, height_, GL_RED, GL_FLOAT, values.data());
        double sum = 0.0;
        for (float v : values)
            sum += v;
        averageLuminance_ = static_cast<float>(std::exp(sum / static_cast<double>(count)));
    }
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(owner_->frameBuffer));
}

void PostProcessor::postProcess()
{
    FrameContext* frame = owner_->frameContext;
    const GLuint target =
        frame->offscreenActive ? frame->offscreenFrameBuffer.get() : static_cast<GLuint>(owner_->frameBuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, target);
    const Vector4& viewport = frame->camera->getViewport();
    const float w = static_cast<float>(static_cast<int>(viewport.z));
    const float h = static_cast<float>(static_cast<int>(viewport.w));
    beginRectanglePass(static_cast<int>(w), static_cast<int>(h));
    ShaderProgram* p = owner_->shaderManager->acquireProgram("postProcess", frame, nullptr);
    owner_->useProgram(p);
    auto& named = owner_->namedTextures;
    p->setTexture2D("sceneTexture", sourcePicture(), GL_LINEAR, GL_CLAMP_TO_EDGE);
    // The composition reads levels 1 to 4 of names written as 0 to 3: the
    // full-size level is never shown and "4" reads as texture 0. The bloom's
    // strength is tuned to exactly this.
    p->setTexture2D("bluredSceneTexture5X5", named["blurBrightSceneTexure1"], GL_LINEAR, GL_CLAMP_TO_EDGE);
    p->setTexture2D("bluredSceneTexture11X11", named["blurBrightSceneTexure2"], GL_LINEAR, GL_CLAMP_TO_EDGE);
    p->setTexture2D("bluredSceneTexture21X21", named["blurBrightSceneTexure3"], GL_LINEAR, GL_CLAMP_TO_EDGE);
    p->setTexture2D("bluredSceneTexture41X41", named["blurBrightSceneTexure4"], GL_LINEAR, GL_CLAMP_TO_EDGE);
    const float params[4] = {averageLuminance_, owner_->bloomCoefficient, bloomThreshold(), 0.0f};
    p->setVec4Array("params", 1, params);
    drawScreenRectangle(*p, 0.0f, 0.0f, w, h, w, h);
    endRectanglePass();
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(owner_->frameBuffer));
}

} // namespace Velda
