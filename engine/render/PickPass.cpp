#include "render/PickPass.h"

#include "render/Context3d.h"
#include "render/FrameContext.h"
#include "render/IndexBufferObject.h"
#include "render/ReviewBinding.h"
#include "render/ScreenRectangle.h"
#include "render/ShaderManager.h"
#include "render/ShaderProgram.h"
#include "scene/Camera.h"
#include "scene/RenderItem.h"
#include "scene/SceneRoot.h"

#include <GL/glew.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace Velda {

namespace {

GlName makeColorTexture(GLint format, GLenum type, int width, int height)
{
    GlName texture = GlName::makeTexture();
    glBindTexture(GL_TEXTURE_2D, texture.get());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexImage2D(GL_TEXTURE_2D, 0, format, width, height, 0, GL_RGBA, type, nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
    return texture;
}

void checkComplete()
{
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE)
        throw std::runtime_error("FBO ERROR!");
}

// The items the id pass draws: what the picture draws, without the sky.
template <typename Draw>
void forEachDrawable(const RenderList& opaque, const RenderList& blended, Draw draw)
{
    for (const RenderList* list : {&opaque, &blended})
        for (RenderItem* item : *list)
            if (!item->sky && item->material && item->layout && item->indexBuffer && item->indexCount > 0 &&
                item->layout->count("Position"))
                draw(*item);
}

} // namespace

bool PickPass::prepare(Camera& camera)
{
    const Vector4& viewport = camera.getViewport();
    const int w = static_cast<int>(viewport.z);
    const int h = static_cast<int>(viewport.w);
    if (w <= 0 || h <= 0)
        return false;
    if (idFrameBuffer_ && w == width_ && h == height_)
        return true;
    width_ = w;
    height_ = h;
    idTexture_ = makeColorTexture(GL_RGBA8, GL_UNSIGNED_BYTE, w, h);
    positionTexture_ = makeColorTexture(GL_RGBA32F, GL_FLOAT, w, h);
    pointTexture_ = makeColorTexture(GL_RGBA32F, GL_FLOAT, w, h);
    depth_ = GlName::makeRenderbuffer();
    glBindRenderbuffer(GL_RENDERBUFFER, depth_.get());
    glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH_COMPONENT24, w, h);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);

    idFrameBuffer_ = GlName::makeFramebuffer();
    glBindFramebuffer(GL_FRAMEBUFFER, idFrameBuffer_.get());
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, idTexture_.get(), 0);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT1, GL_TEXTURE_2D, positionTexture_.get(), 0);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, depth_.get());
    checkComplete();
    // The vertices are tested against the surfaces' depth, which they share.
    pointFrameBuffer_ = GlName::makeFramebuffer();
    glBindFramebuffer(GL_FRAMEBUFFER, pointFrameBuffer_.get());
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, pointTexture_.get(), 0);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, depth_.get());
    checkComplete();
    return true;
}

void PickPass::drawIds(SceneRoot* scene, Camera& camera)
{
    FrameContext& frame = *owner_->frameContext;
    Camera* previous = frame.camera;
    frame.camera = &camera;
    RenderList opaque;
    RenderList blended;
    owner_->collectItems(scene, opaque, blended);
    frame.camera = previous;

    glBindFramebuffer(GL_FRAMEBUFFER, idFrameBuffer_.get());
    const GLenum targets[2] = {GL_COLOR_ATTACHMENT0, GL_COLOR_ATTACHMENT1};
    glDrawBuffers(2, targets);
    glViewport(0, 0, width_, height_);
    disableVertexArrays();
    glDisable(GL_BLEND);
    glDisable(GL_CULL_FACE);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glDepthMask(GL_TRUE);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClearDepth(1.0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);

    ShaderProgram* program = owner_->shaderManager->acquireProgram("pick", &frame, nullptr);
    owner_->useProgram(program);
    program->setMatrix("viewProjMat", camera.getProjection() * camera.getInverseTransform());
    forEachDrawable(opaque, blended, [&](RenderItem& item) {
        const LayoutEntry& position = item.layout->at("Position");
        program->setMatrix("worldMat", *item.transform);
        program->setAttributeBuffer("a_Vertex", position.buffer, position.offset, position.components);
        const ReviewBinding review(*program, item, *owner_);
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, item.indexBuffer->name());
        glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(item.indexCount),
                       item.indexWidth ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT, nullptr);
    });
    glDrawBuffers(1, targets);
    drawn_.clear();
    forEachDrawable(opaque, blended, [this](RenderItem& item) { drawn_.push_back(&item); });
}

void PickPass::drawVertices(Camera& camera)
{
    glBindFramebuffer(GL_FRAMEBUFFER, pointFrameBuffer_.get());
    glViewport(0, 0, width_, height_);
    disableVertexArrays();
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glDepthMask(GL_FALSE);
    glPointSize(1.0f);

    ShaderProgram* program = owner_->shaderManager->acquireProgram("pickPoint", owner_->frameContext, nullptr);
    owner_->useProgram(program);
    program->setMatrix("viewProjMat", camera.getProjection() * camera.getInverseTransform());
    // A few thousandths of the way to the eye (or of the scene's 10 units
    // along the view, for a parallel view): about the depth error of a
    // vertex against the surface it ends, far less than a wall is thick.
    float eye[4];
    if (camera.getProjectionType() == Camera::kOrthographic) {
        const Vector4 back = camera.getTransform().getColumn(2);
        eye[0] = back.x * 10.0f, eye[1] = back.y * 10.0f, eye[2] = back.z * 10.0f, eye[3] = 0.0f;
    } else {
        const Vector3 at = camera.getPosition();
        eye[0] = at.x, eye[1] = at.y, eye[2] = at.z, eye[3] = 1.0f;
    }
    program->setVec4Array("u_Eye", 1, eye);
    program->setFloat("u_Pull", 0.003f);
    for (RenderItem* item : drawn_) {
        const LayoutEntry& position = item->layout->at("Position");
        program->setMatrix("worldMat", *item->transform);
        program->setAttributeBuffer("a_Vertex", position.buffer, position.offset, position.components);
        const ReviewBinding review(*program, *item, *owner_);
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, item->indexBuffer->name());
        glDrawElements(GL_POINTS, static_cast<GLsizei>(item->indexCount),
                       item->indexWidth ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT, nullptr);
    }
    glDepthMask(GL_TRUE);
}

PickHit PickPass::readHit(int x, int y)
{
    PickHit hit;
    if (x < 0 || y < 0 || x >= width_ || y >= height_)
        return hit;
    const int row = height_ - 1 - y;  // GL's rows run upwards
    glBindFramebuffer(GL_READ_FRAMEBUFFER, idFrameBuffer_.get());
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    unsigned char id[4] = {};
    glReadBuffer(GL_COLOR_ATTACHMENT0);
    glReadPixels(x, row, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, id);
    hit.object = static_cast<uint32_t>(id[0]) | static_cast<uint32_t>(id[1]) << 8 | static_cast<uint32_t>(id[2]) << 16;
    float position[4] = {};
    glReadBuffer(GL_COLOR_ATTACHMENT1);
    glReadPixels(x, row, 1, 1, GL_RGBA, GL_FLOAT, position);
    glReadBuffer(GL_COLOR_ATTACHMENT0);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    if (hit.object != 0)
        hit.point = Vector3(position[0], position[1], position[2]);
    return hit;
}

std::vector<PickHit> PickPass::viewMap(SceneRoot* scene, Camera* camera, unsigned int frameBuffer)
{
    std::vector<PickHit> map;
    if (scene && camera && prepare(*camera)) {
        drawIds(scene, *camera);
        const size_t pixels = static_cast<size_t>(width_) * height_;
        std::vector<unsigned char> ids(pixels * 4);
        std::vector<float> points(pixels * 4);
        glBindFramebuffer(GL_READ_FRAMEBUFFER, idFrameBuffer_.get());
        glReadBuffer(GL_COLOR_ATTACHMENT0);
        glReadPixels(0, 0, width_, height_, GL_RGBA, GL_UNSIGNED_BYTE, ids.data());
        glReadBuffer(GL_COLOR_ATTACHMENT1);
        glReadPixels(0, 0, width_, height_, GL_RGBA, GL_FLOAT, points.data());
        glReadBuffer(GL_COLOR_ATTACHMENT0);
        map.resize(pixels);
        for (int row = 0; row < height_; ++row)
            for (int x = 0; x < width_; ++x) {
                const size_t from = static_cast<size_t>(row) * width_ + x;
                PickHit& hit = map[static_cast<size_t>(height_ - 1 - row) * width_ + x];
                hit.object = ids[4 * from] | static_cast<uint32_t>(ids[4 * from + 1]) << 8 |
                             static_cast<uint32_t>(ids[4 * from + 2]) << 16;
                if (hit.object)
                    hit.point = Vector3(points[4 * from], points[4 * from + 1], points[4 * from + 2]);
            }
    }
    glBindFramebuffer(GL_FRAMEBUFFER, frameBuffer);
    return map;
}

PickHit PickPass::pick(SceneRoot* scene, Camera* camera, int x, int y, unsigned int frameBuffer)
{
    PickHit hit;
    if (scene && camera && prepare(*camera)) {
        drawIds(scene, *camera);
        hit = readHit(x, y);
    }
    glBindFramebuffer(GL_FRAMEBUFFER, frameBuffer);
    return hit;
}

PickHit PickPass::snap(SceneRoot* scene, Camera* camera, int x, int y, int radius, unsigned int frameBuffer)
{
    PickHit hit;
    if (!scene || !camera || !prepare(*camera)) {
        glBindFramebuffer(GL_FRAMEBUFFER, frameBuffer);
        return hit;
    }
    drawIds(scene, *camera);
    hit = readHit(x, y);
    drawVertices(*camera);

    // The window round the pixel, clipped to the view; rows run upwards.
    const int x0 = std::max(0, x - radius), x1 = std::min(width_ - 1, x + radius);
    const int top = std::max(0, y - radius), bottom = std::min(height_ - 1, y + radius);
    if (x0 <= x1 && top <= bottom) {
        const int w = x1 - x0 + 1, h = bottom - top + 1;
        std::vector<float> window(static_cast<size_t>(w) * h * 4);
        glBindFramebuffer(GL_READ_FRAMEBUFFER, pointFrameBuffer_.get());
        glReadBuffer(GL_COLOR_ATTACHMENT0);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glReadPixels(x0, height_ - 1 - bottom, w, h, GL_RGBA, GL_FLOAT, window.data());
        glPixelStorei(GL_PACK_ALIGNMENT, 4);
        long best = static_cast<long>(radius) * radius + 1;
        for (int r = 0; r < h; ++r) {
            for (int c = 0; c < w; ++c) {
                const float* texel = &window[(static_cast<size_t>(r) * w + c) * 4];
                if (texel[3] < 0.5f)
                    continue;
                const long dx = x0 + c - x, dy = (height_ - 1 - bottom + r) - (height_ - 1 - y);
                const long distance = dx * dx + dy * dy;
                if (distance < best) {
                    best = distance;
                    hit.point = Vector3(texel[0], texel[1], texel[2]);
                    hit.snapped = true;
                }
            }
        }
    }
    glBindFramebuffer(GL_FRAMEBUFFER, frameBuffer);
    return hit;
}

} // namespace Velda
