#include "render/Context3d.h"

#include "formats/Material.h"
#include "assets/AssetManager.h"
#include "jobs/JobManager.h"
#include "render/BatchMerger.h"
#include "render/FrameContext.h"
#include "render/InteractiveProcesser.h"
#include "render/LightingProcessor.h"
#include "render/PostProcessor.h"
#include "render/ScreenRectangle.h"
#include "render/ShaderManager.h"
#include "render/ShaderProgram.h"
#include "render/ShadowProcessor.h"
#include "render/Texture2D.h"
#include "scene/Camera.h"
#include "scene/DctLight.h"
#include "scene/Frustum.h"
#include "scene/PtLight.h"
#include "scene/SceneRoot.h"
#include "scene/SenceBackGround.h"
#include "scene/SpotLight.h"
#include "scene/StaticMesh.h"

#include <GL/glew.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <map>
#include <stdexcept>

namespace Velda {

namespace {

Context3d* g_context = nullptr;

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void checkFramebuffer()
{
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE)
        throw std::runtime_error("FBO ERROR!");
}

} // namespace

Context3d* Context3d::instance()
{
    if (!g_context)
        g_context = new Context3d();
    return g_context;
}

void Context3d::destroyInstance()
{
    delete g_context;
    g_context = nullptr;
}

Context3d::~Context3d()
{
    for (int i = kPassCount - 1; i >= 0; --i) {
        delete reduced_[i];
        delete processors[i];
    }
    delete shaderManager;
    delete frameContext;
    delete defaultMaterial;
    delete placeholderTexture;
}

void Context3d::initialize(void*)
{
    // The sky colour of the camera's clear: what stands where a texture
    // has not arrived yet.
    static const float placeholder[4] = {0.5411765f, 0.6784314f, 0.8156863f, 1.0f};
    placeholderTexture = new Texture2D(1, 1, GL_RGBA, GL_FLOAT, placeholder, true);
    defaultMaterial = new Material();

    timeAngle = 2.356194f;
    azimuthAngle = 5.497787f;
    outerDialHot = innerDialHot = false;
    nightMode = false;
    constantLight = false;
    whiteModel = false;
    variantsDirty = false;

    GLint maxTexture = 0;
    GLint viewportDims[2] = {0, 0};
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxTexture);
    glGetIntegerv(GL_MAX_VIEWPORT_DIMS, viewportDims);
    const int m = std::min(maxTexture, std::max(viewportDims[0], viewportDims[1]));
    const int size = m >= 4096 ? 2048 : 1024;
    shadowBaseWidth = shadowBaseHeight = size;
    shadowWidth = shadowHeight = static_cast<unsigned>(size);

    frameContext = new FrameContext();
    frameContext->owner = this;
    shaderManager = new ShaderManager(this);

    processors[kShadowPass] = new ShadowProcessor(this);
    processors[kShadowPass]->createResources();
    processors[kLightingPass] = new LightingProcessor(this);
    processors[kLightingPass]->createResources();
    processors[kPostPass] = new PostProcessor(this);
    processors[kPostPass]->createResources();
    processors[kInteractivePass] = new InteractiveProcesser(this);
    processors[kInteractivePass]->createResources();
}

void Context3d::begin(Camera* camera, int targetTexture, int frameBufferName)
{
    frameBuffer = frameBufferName;
    frameContext->camera = camera;
    if (targetTexture != -1)
        attachTarget(targetTexture);
    // Assets reach GL here: one finished job per begin on the specified
    // path, otherwise as many as fit in about 10 ms, or in a quarter of
    // the last render when frames are slow (a big city still loads in
    // seconds, and its frames slow down by no more than that).
    if (faithful)
        JobManager::instance().finishOne();
    else
        JobManager::instance().finishFor(std::max(kJobBudgetMs, 0.25 * stats.renderMs));
    reducedFrame_ = !faithful && frameScale > 0.0f && frameScale < 1.0f;
    if (reducedFrame_)
        prepareReducedPasses();
    for (int i = 0; i < kPassCount; ++i)
        if (BaseProcessor* p = pass(i))
            if (p->enabled)
                p->prepare();
}

BaseProcessor* Context3d::pass(int i) const
{
    if (reducedFrame_ && reduced_[i])
        return reduced_[i];
    return processors[i];
}

void Context3d::prepareReducedPasses()
{
    if (!reduced_[kLightingPass]) {
        reduced_[kLightingPass] = new LightingProcessor(this);
        reduced_[kPostPass] = new PostProcessor(this);
    }
    for (int i : {kLightingPass, kPostPass}) {
        reduced_[i]->sizeScale = frameScale;
        reduced_[i]->enabled = processors[i]->enabled;
    }
}

void Context3d::attachTarget(int targetTexture)
{
    FrameContext& frame = *frameContext;
    frame.offscreenActive = true;
    frame.targetTexture = targetTexture;
    if (!frame.offscreenFrameBuffer) {
        frame.offscreenFrameBuffer = GlName::makeFramebuffer();
        glBindFramebuffer(GL_FRAMEBUFFER, frame.offscreenFrameBuffer.get());
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D,
                               static_cast<GLuint>(targetTexture), 0);
        frame.offscreenDepth = GlName::makeRenderbuffer();
        glBindRenderbuffer(GL_RENDERBUFFER, frame.offscreenDepth.get());
        const Vector4& viewport = frame.camera->getViewport();
        glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH_COMPONENT, static_cast<GLsizei>(viewport.z),
                              static_cast<GLsizei>(viewport.w));
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, frame.offscreenDepth.get());
        glBindRenderbuffer(GL_RENDERBUFFER, 0);
        checkFramebuffer();
        glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(frameBuffer));
    }
    glBindFramebuffer(GL_FRAMEBUFFER, frame.offscreenFrameBuffer.get());
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, static_cast<GLuint>(targetTexture),
                           0);
    checkFramebuffer();
}

void Context3d::buildLists(const RenderList& meshes, const RenderList& sky, RenderList& opaque, RenderList& blended)
{
    const Vector3 eye = frameContext && frameContext->camera ? frameContext->camera->getPosition() : Vector3();
    std::multimap<double, RenderItem*> byDistance;
    for (RenderItem* item : meshes) {
        if (item->noMaterial)
            item->material = defaultMaterial;
        const float alpha = item->material ? item->material->getAlpha() : 1.0f;
        if (alpha == 1.0f) {
            opaque.push_back(item);
        } else if (item->material->getBlend() && alpha <= 1.0f) {
            const Matrix4& t = *item->transform;
            const float dx = eye.x - t.m[12];
            const float dy = eye.y - t.m[13];
            const float dz = eye.z - t.m[14];
            const float distance = dy * dy + dx * dx + dz * dz;
            byDistance.emplace(static_cast<double>(distance), item);
            item->night = nightMode;
        }
        // Anything else (translucent without blending, or alpha above one)
        // is drawn by no pass this frame.
        item->whiteModel = whiteModel;
        if (scene && item->directionalLights.empty()) {
            item->directionalLights = scene->getDctLights();
            if (item->directionalLights.empty()) {
                item->pointLights = scene->getPtLights();
                if (item->pointLights.empty())
                    item->spotLights = scene->getSpotLights();
            }
        }
        if (variantsDirty)
            item->macrosReady = false;
    }
    variantsDirty = false;
    opaque.insert(opaque.end(), sky.begin(), sky.end());
    // Back to front; of equal distances the later one first.
    for (auto it = byDistance.rbegin(); it != byDistance.rend(); ++it)
        blended.push_back(it->second);
}

void Context3d::selectForView(const RenderList& opaque, const RenderList& blended, RenderList& viewOpaque,
                              RenderList& viewBlended) const
{
    // The opaque items keep their order: drawn front to back, faces that
    // touch tie in depth the other way and the still picture changes along
    // their edges, and on a driver that shades before it tests depth (the
    // lit shader may discard) the order saves nothing.
    Camera* camera = frameContext->camera;
    const Frustum view(camera->getProjection() * camera->getInverseTransform());
    const auto seen = [&view](const RenderItem* item) { return item->sky || !item->box || !view.outside(*item->box); };
    viewOpaque.reserve(opaque.size());
    std::copy_if(opaque.begin(), opaque.end(), std::back_inserter(viewOpaque), seen);
    // Blended items back to front as buildLists put them; a merged batch
    // (its matrix the identity) goes by the centre of its box instead.
    const Vector3 eye = camera->getPosition();
    std::vector<std::pair<float, RenderItem*>> far;
    for (RenderItem* item : blended) {
        if (!seen(item))
            continue;
        Vector3 at(item->transform->m[12], item->transform->m[13], item->transform->m[14]);
        if (item->merged && item->box)
            at = (item->box->getMin() + item->box->getMax()) * 0.5f;
        const float dx = eye.x - at.x, dy = eye.y - at.y, dz = eye.z - at.z;
        far.emplace_back(dy * dy + dx * dx + dz * dz, item);
    }
    std::stable_sort(far.begin(), far.end(), [](const std::pair<float, RenderItem*>& a,
                                                const std::pair<float, RenderItem*>& b) { return a.first > b.first; });
    for (const auto& entry : far)
        viewBlended.push_back(entry.second);
}

void Context3d::collectItems(SceneRoot* sceneRoot, RenderList& opaque, RenderList& blended)
{
    scene = sceneRoot;
    RenderList meshes;
    RenderList sky;
    mergeArrived(scene);
    // Merged objects are drawn by their batches, on the specified path too
    // once their own buffers are gone.
    const bool batches = merger_ && mergedScene_ == scene && (!faithful || merger_->sourcesReleased());
    for (StaticMesh* mesh : scene->getStaticMeshes())
        if (!batches || !merger_->merged(mesh))
            mesh->collectRenderItems(meshes);
    if (batches)
        merger_->collect(meshes);
    for (SenceBackGround* background : scene->getBackgrounds())
        background->collectRenderItems(sky);
    objectStates_.update(review, scene->getStaticMeshes().size());
    applyReview(meshes);
    buildLists(meshes, sky, opaque, blended);
}

void Context3d::applyReview(RenderList& meshes)
{
    const bool on = review.active();
    // A batch's objects are hidden one by one in its vertices.
    if (review.hiddenCount() > 0)
        meshes.erase(std::remove_if(meshes.begin(), meshes.end(),
                                    [this](const RenderItem* item) {
                                        return item->objectIndex != 0 && review.hidden(item->objectIndex);
                                    }),
                     meshes.end());
    for (RenderItem* item : meshes) {
        if (item->review != on) {
            item->review = on;
            item->macrosReady = false;
        }
    }
}

void Context3d::render(SceneRoot* sceneRoot, bool clear, bool lighting, bool shadow, bool interactive)
{
    const Clock::time_point start = Clock::now();
    RenderList opaque;
    RenderList blended;
    collectItems(sceneRoot, opaque, blended);
    // The shadow pass sees every caster (it tests them against the light);
    // the passes through the camera see what lies in its view.
    RenderList viewOpaque;
    RenderList viewBlended;
    if (!faithful)
        selectForView(opaque, blended, viewOpaque, viewBlended);

    const bool wanted[kPassCount] = {shadow, lighting, true, interactive};
    for (int i = 0; i < kPassCount; ++i) {
        stats.passMs[i] = 0.0;
        stats.drawCalls[i] = 0;
        BaseProcessor* p = pass(i);
        if (!wanted[i] || !p || !p->enabled)
            continue;
        const Clock::time_point passStart = Clock::now();
        p->resetDrawCalls();
        if (faithful || i == kShadowPass)
            p->process(opaque, blended, clear);
        else
            p->process(viewOpaque, viewBlended, clear);
        if (stats.finishEachPass)
            glFinish();
        stats.passMs[i] = millisecondsSince(passStart);
        stats.drawCalls[i] = p->drawCalls();
    }
    stats.shadowDraws = static_cast<ShadowProcessor*>(processors[kShadowPass])->drawCount();
    stats.renderMs = millisecondsSince(start);
}

void Context3d::mergeArrived(SceneRoot* sceneRoot)
{
    if (faithful || !sceneRoot)
        return;
    if (!merger_ || mergedScene_ != sceneRoot) {
        merger_.reset(new BatchMerger());
        mergedScene_ = sceneRoot;
    }
    AssetManager* assets = AssetManager::instance();
    merger_->absorb(*sceneRoot, assets && assets->keepGeometryCopies(), assets && assets->isReady());
}

size_t Context3d::batchCount() const
{
    return merger_ && !faithful ? merger_->pieceCount() : 0;
}

void Context3d::end()
{
    for (int i = 0; i < kPassCount; ++i)
        if (BaseProcessor* p = pass(i))
            if (p->enabled)
                p->finish();
    FrameContext& frame = *frameContext;
    if (frame.offscreenActive) {
        glBindFramebuffer(GL_FRAMEBUFFER, frame.offscreenFrameBuffer.get());
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
        frame.targetTexture = -1;
        frame.offscreenActive = false;
        glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(frameBuffer));
    }
}

const float* Context3d::timeOfDay()
{
    day = DayCycle::at(timeAngle, constantLight, day);
    if (!constantLight)
        nightMode = day.night;
    day.store(dayCycle);
    // Keeps OK_NIGHT current: every item rebuilds its variant key.
    variantsDirty = true;
    return dayCycle;
}

void Context3d::flatTex(int texture, float x, float y, float w, float h, Matrix4 world)
{
    disableVertexArrays();
    const Vector4& viewport = frameContext->camera->getViewport();
    glViewport(static_cast<GLint>(viewport.x), static_cast<GLint>(viewport.y), static_cast<GLsizei>(viewport.z),
               static_cast<GLsizei>(viewport.w));
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    ShaderProgram* program = shaderManager->acquireProgram("flatTex", frameContext, nullptr);
    useProgram(program);
    program->setMatrix("u_WorldMat", world);
    program->setTexture2D("u_Sampler", static_cast<unsigned>(texture), GL_LINEAR, GL_CLAMP_TO_EDGE);
    drawScreenRectangle(*program, x, y, w, h, static_cast<float>(static_cast<int>(viewport.z)),
                        static_cast<float>(static_cast<int>(viewport.w)));
}

void Context3d::renderLine(float x0, float y0, float z0, float x1, float y1, float z1, float r, float g, float b)
{
    ShaderProgram* program = shaderManager->acquireProgram("renderLine", frameContext, nullptr);
    useProgram(program);
    const float points[6] = {x0, y0, z0, x1, y1, z1};
    static const GLuint indices[2] = {0, 1};
    program->setAttributeArray("vertex", points, 0, 3, 3);
    program->setMatrix("viewProjMat", frameContext->camera->getViewProjection());
    const float color[4] = {r, g, b, 1.0f};
    program->setVec4Array("color", 1, color);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    glDrawElements(GL_LINES, 2, GL_UNSIGNED_INT, indices);
    glGetError();
}

void Context3d::useProgram(ShaderProgram* program)
{
    glUseProgram(program->program());
}

void Context3d::setShadowQuality(int level, SpotLight* sun)
{
    static const float factors[4] = {1.0f, 0.5f, 1.0f, 2.0f};
    level = std::max(0, std::min(3, level));
    shadowWidth = static_cast<unsigned>(static_cast<float>(shadowBaseWidth) * factors[level]);
    shadowHeight = static_cast<unsigned>(static_cast<float>(shadowBaseHeight) * factors[level]);
    if (sun)
        sun->setCastShadow(level != 0);
}

void Context3d::setSSAOLevel(int v)
{
    const float f = static_cast<float>(v) / 100.0f;
    ssaoPower = f * 0.5f;
    ssaoKernelSize = static_cast<float>(static_cast<int>((f - 1.0f) * 32.0f));
}

} // namespace Velda
