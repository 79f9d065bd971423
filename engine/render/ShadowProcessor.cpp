#include "render/ShadowProcessor.h"

#include "assets/AssetManager.h"
#include "render/Context3d.h"
#include "render/FrameContext.h"
#include "render/IndexBufferObject.h"
#include "render/LightKey.h"
#include "render/ReviewBinding.h"
#include "render/ScreenRectangle.h"
#include "render/ShaderManager.h"
#include "render/ShaderProgram.h"
#include "scene/Camera.h"
#include "scene/DctLight.h"
#include "scene/Frustum.h"
#include "scene/SceneRoot.h"
#include "scene/SpotLight.h"

#include <GL/glew.h>

#include <cfloat>

namespace Velda {

ShadowProcessor::ShadowProcessor(Context3d* owner)
    : BaseProcessor(owner), width_(owner->shadowWidth), height_(owner->shadowHeight)
{
}

void ShadowProcessor::createResources()
{
    const unsigned rebind = static_cast<unsigned>(owner_->frameBuffer);
    const int w = static_cast<int>(width_);
    const int h = static_cast<int>(height_);
    TargetLayout layout =
        TargetLayout::floatColor(w, h, GL_RGBA32F, GL_RGBA, GL_LINEAR, GL_CLAMP_TO_EDGE, false, GL_DEPTH_COMPONENT);
    moment_ = RenderTarget::make(layout, rebind);
    layout.width = w / 2;
    layout.height = h / 2;
    layout.wrap = GL_CLAMP_TO_BORDER;
    layout.border = true;  // outside the map reads as lit
    reduced_ = RenderTarget::make(layout, rebind);
    owner_->namedTextures["depthTex"] = reduced_.tex();
}

void ShadowProcessor::releaseResources()
{
    moment_.reset();
    reduced_.reset();
}

void ShadowProcessor::prepare()
{
    if (owner_->shadowWidth != width_ || owner_->shadowHeight != height_) {
        width_ = owner_->shadowWidth;
        height_ = owner_->shadowHeight;
        releaseResources();
        createResources();
        sizeChanged_ = true;
    }
}

void ShadowProcessor::process(const RenderList& opaque, const RenderList& blended, bool)
{
    if (!needsUpdate())
        return;
    RenderList joined(opaque);
    joined.insert(joined.end(), blended.begin(), blended.end());
    drawMoments(joined);
    reduce();
    ++drawCount_;
}

bool ShadowProcessor::needsUpdate()
{
    AssetManager* assets = AssetManager::instance();
    if (assets && !assets->isReady()) {
        settled_ = false;
        return true;
    }
    AABB3& bounds = owner_->scene->bounds();
    // A stored key stays until the next drawing renews it, so a change keeps
    // the map redrawing until the light holds still.
    for (const auto& entry : directionalKeys_)
        if (lightKey(kDirectionalLightKey, bounds, *entry.first) != entry.second)
            return true;
    for (const auto& entry : spotKeys_)
        if (lightKey(kSpotLightKey, bounds, *entry.first) != entry.second)
            return true;
    if (!settled_) {
        settled_ = true;
        return true;
    }
    if (sizeChanged_) {
        sizeChanged_ = false;
        return true;
    }
    // Hidden objects and the section box change what casts.
    if (owner_->review.visibilityVersion() != castersVersion_) {
        castersVersion_ = owner_->review.visibilityVersion();
        return true;
    }
    return false;
}

Matrix4 ShadowProcessor::lightViewProjection(const Vector3& direction, const Vector3& up)
{
    AABB3& bounds = owner_->scene->bounds();
    const Vector3 min = bounds.getMin();
    const Vector3 d = bounds.getMax() - min;
    const float length = d.length();
    const float half = length / 2.0f;
    const Vector3 center = min + d / 2.0f;
    const Vector3 dir = direction.normalized();
    const Vector3 eye = center + (-dir) * half;
    Camera camera;
    camera.setNear(0.0f);
    camera.setFar(length);
    camera.setProjectionType(Camera::kOrthographic);
    camera.setOrthoBounds(-half, half, -half, half);
    camera.setPosition(0.0f, 0.0f, 0.0f);
    camera.lookAt(dir, up);
    camera.setPosition(eye);
    return camera.getProjection() * camera.getInverseTransform();
}

Matrix4 ShadowProcessor::directionalMatrix(DctLight& light)
{
    const std::string key = lightKey(kDirectionalLightKey, owner_->scene->bounds(), light);
    auto& cache = owner_->frameContext->lightMatrices;
    auto it = cache.find(key);
    if (it == cache.end())
        it = cache.emplace(key, lightViewProjection(light.getDirection(), Vector3(0.0f, 0.0f, 1.0f))).first;
    directionalKeys_[&light] = key;
    return it->second;
}

Matrix4 ShadowProcessor::spotMatrix(SpotLight& light)
{
    AABB3& bounds = owner_->scene->bounds();
    const std::string key = lightKey(kSpotLightKey, bounds, light);
    auto& cache = owner_->frameContext->lightMatrices;
    auto it = cache.find(key);
    if (it == cache.end()) {
        // The sun: only its direction counts. The map is cropped to the
        // scene's box as the light sees it, keeping the near side.
        const Matrix4 m = lightViewProjection(light.getDirection(), Vector3(0.0f, 1.0f, 0.0f));
        Vector3 low(FLT_MAX, FLT_MAX, FLT_MAX);
        Vector3 high(-FLT_MAX, -FLT_MAX, -FLT_MAX);
        const Vector3 lo = bounds.getMin();
        const Vector3 hi = bounds.getMax();
        for (int corner = 0; corner < 8; ++corner) {
            const Vector3 p((corner & 1) ? hi.x : lo.x, (corner & 2) ? hi.y : lo.y, (corner & 4) ? hi.z : lo.z);
            const Vector3 q = m.transformPoint(p);
            low = Vector3(std::min(low.x, q.x), std::min(low.y, q.y), std::min(low.z, q.z));
            high = Vector3(std::max(high.x, q.x), std::max(high.y, q.y), std::max(high.z, q.z));
        }
        low.z = 0.0f;
        const float sx = 2.0f / (high.x - low.x);
        const float sy = 2.0f / (high.y - low.y);
        const float sz = 1.0f / high.z;
        const float ox = -(high.x + low.x) / 2.0f * sx;
        const float oy = -(high.y + low.y) / 2.0f * sy;
        const float oz = -0.0f;
        const Matrix4 crop(sx, 0.0f, 0.0f, 0.0f, 0.0f, sy, 0.0f, 0.0f, 0.0f, 0.0f, sz, 0.0f, ox, oy, oz, 1.0f);
        it = cache.emplace(key, crop * m).first;
    }
    spotKeys_[&light] = key;
    return it->second;
}

void ShadowProcessor::drawMoments(const RenderList& items)
{
    glBindFramebuffer(GL_FRAMEBUFFER, moment_.fbo());
    glEnable(GL_DEPTH_TEST);
    glDepthMask(GL_TRUE);
    disableVertexArrays();
    glBindTexture(GL_TEXTURE_2D, moment_.tex());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glViewport(0, 0, static_cast<GLsizei>(width_), static_cast<GLsizei>(height_));
    glClearColor(1.0f, 1.0f, 1.0f, 1.0f);
    glClearDepth(1.0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glDisable(GL_BLEND);

    // Casters outside the light's volume would be clipped whole: skipped
    // unless the specified path draws them.
    const bool cull = !owner_->faithful;
    const auto draw = [this, cull](RenderItem& item, const Matrix4& lightSpace) {
        if (cull && item.box && Frustum(lightSpace).outside(*item.box))
            return;
        ShaderProgram* program = owner_->shaderManager->acquireProgram("shadow", owner_->frameContext, &item);
        owner_->useProgram(program);
        program->setMatrix("lightSpaceMatrix", lightSpace);
        program->setMatrix("modelMatrix", *item.transform);
        // A mesh without positions cannot cast: the lookup throws.
        const LayoutEntry& position = item.layout->at("Position");
        program->setAttributeBuffer("vertex", position.buffer, position.offset, position.components);
        const ReviewBinding review(*program, item, *owner_);
        if (!item.indexBuffer || item.indexCount == 0)
            return;
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, item.indexBuffer->name());
        glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(item.indexCount),
                       item.indexWidth ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT, nullptr);
        countDraw(item.indexCount);
    };
    for (RenderItem* item : items) {
        if (!item->material || !item->castShadow || !item->layout)
            continue;
        for (DctLight* light : item->directionalLights) {
            const Matrix4 m = directionalMatrix(*light);
            if (m == noLight_ || !light->getCastShadow())
                continue;
            draw(*item, m);
        }
        for (SpotLight* light : item->spotLights) {
            const Matrix4 m = spotMatrix(*light);
            if (m == noLight_ || !light->getCastShadow())
                continue;
            draw(*item, m);
        }
    }
    glDisable(GL_DEPTH_TEST);
    glDepthMask(GL_FALSE);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(owner_->frameBuffer));
}

void ShadowProcessor::reduce()
{
    glBindFramebuffer(GL_FRAMEBUFFER, reduced_.fbo());
    beginRectanglePass(static_cast<int>(width_ / 2), static_cast<int>(height_ / 2));
    ShaderProgram* program = owner_->shaderManager->acquireProgram("blur", owner_->frameContext, nullptr);
    owner_->useProgram(program);
    program->setTexture2D("textureSource", moment_.tex(), GL_LINEAR, GL_CLAMP_TO_EDGE);
    // The rectangle spans the full size; the viewport halves it, and the
    // bilinear copy is the map's two by two box filter.
    const float w = static_cast<float>(width_);
    const float h = static_cast<float>(height_);
    drawScreenRectangle(*program, 0.0f, 0.0f, w, h, w, h);
    endRectanglePass();
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(owner_->frameBuffer));
}

} // namespace Velda
