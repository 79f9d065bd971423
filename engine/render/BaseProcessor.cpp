#include "render/BaseProcessor.h"

#include "assets/AssetManager.h"
#include "assets/AssetTexture1D.h"
#include "assets/AssetTexture2D.h"
#include "assets/AssetTextureCube.h"
#include "formats/Material.h"
#include "render/Context3d.h"
#include "render/FrameContext.h"
#include "render/IndexBufferObject.h"
#include "render/LightKey.h"
#include "render/ReviewBinding.h"
#include "render/ShaderManager.h"
#include "render/ShaderProgram.h"
#include "render/Texture1D.h"
#include "render/Texture2D.h"
#include "render/TextureCube.h"
#include "scene/Camera.h"
#include "scene/SceneRoot.h"
#include "scene/SpotLight.h"

#include <GL/glew.h>

#include <algorithm>
#include <string>

namespace Velda {

namespace {

double g_waterClock = 0.0;

const char* const kWaterImage = "SkyResources/img/water.jpg";
const char* const kSkyCube = "SkyResources/img/rt.jpg|lf.jpg|bk.jpg|ft.jpg|up.jpg|dn.jpg";
const char* const kColorRamp = "SkyResources/img/color.lt";
const char* const kChannelSamplers[RenderItem::kChannels] = {"u_Tex0", "u_Tex1", "u_Tex2", "u_Tex3",
                                                             "u_Tex4", "u_Tex5", "u_Tex6"};

void put(float entry[4], float x, float y, float z, float w)
{
    entry[0] = x;
    entry[1] = y;
    entry[2] = z;
    entry[3] = w;
}

void put(float entry[4], const Vector3& v, float w)
{
    put(entry, v.x, v.y, v.z, w);
}

// A request for a known name returns the asset; an unknown one starts its
// load. Until the asset is ready the placeholder stands in.
Asset* request(const std::string& name)
{
    AssetManager* manager = AssetManager::instance();
    return manager ? manager->load(name, Callback()) : nullptr;
}

unsigned int texture2DName(Asset* asset, Texture2D* placeholder)
{
    auto* image = dynamic_cast<AssetTexture2D*>(asset);
    if (image && image->isReady() && image->texture())
        return image->texture()->name();
    return placeholder->name();
}

unsigned int cubeName(Asset* asset, Texture2D* placeholder)
{
    auto* cube = dynamic_cast<AssetTextureCube*>(asset);
    if (cube && cube->isReady() && cube->texture())
        return cube->texture()->name();
    return placeholder->name();  // a 2-D name on a cube sampler until the sky cube is ready
}

} // namespace

BaseProcessor::BaseProcessor(Context3d* owner) : owner_(owner) {}

void BaseProcessor::process(const RenderList&, const RenderList&, bool) {}

void BaseProcessor::countDraw(uint32_t indices)
{
    ++drawCalls_;
    if (owner_->faithful)
        return;
    unflushedIndices_ += indices;
    if (unflushedIndices_ >= 3u * 100000u) {
        glFinish();
        unflushedIndices_ = 0;
    }
}

int BaseProcessor::scaledWidth() const
{
    if (sizeScale >= 1.0f)
        return owner_->viewportWidth;
    return std::max(1, static_cast<int>(static_cast<float>(owner_->viewportWidth) * sizeScale));
}

int BaseProcessor::scaledHeight() const
{
    if (sizeScale >= 1.0f)
        return owner_->viewportHeight;
    return std::max(1, static_cast<int>(static_cast<float>(owner_->viewportHeight) * sizeScale));
}

double BaseProcessor::waterClock()
{
    return g_waterClock;
}

void BaseProcessor::writeFrameEntries()
{
    const FrameContext& frame = *owner_->frameContext;
    const float* day = owner_->timeOfDay();
    put(uniformBlock_[4], frame.camera->getPosition(), 0.0f);
    put(uniformBlock_[32], frame.groundColor[0], frame.groundColor[1], frame.groundColor[2], 0.0f);
    put(uniformBlock_[33], frame.skyColor[0], frame.skyColor[1], frame.skyColor[2], static_cast<float>(g_waterClock));
    put(uniformBlock_[35], day[Context3d::kSunColor], day[Context3d::kSunColor + 1], day[Context3d::kSunColor + 2],
        day[Context3d::kNightMix]);
    put(uniformBlock_[36], day[Context3d::kShadeColor], day[Context3d::kShadeColor + 1],
        day[Context3d::kShadeColor + 2], uniformBlock_[36][3]);
    put(uniformBlock_[37], day[Context3d::kGlowColor], day[Context3d::kGlowColor + 1], day[Context3d::kGlowColor + 2],
        day[Context3d::kGlowLevel]);
    put(uniformBlock_[39], day[Context3d::kAmbientLevel], day[Context3d::kSunLevel], day[Context3d::kShadowLift],
        uniformBlock_[39][3]);
    put(uniformBlock_[40], owner_->shadowShade, static_cast<float>(owner_->shadowWidth),
        static_cast<float>(owner_->shadowHeight), uniformBlock_[40][3]);
}

void BaseProcessor::writeMaterialEntries(const RenderItem& item)
{
    const Material& m = *item.material;
    // Compared as double: a glossiness of exactly 0 must not reach pow().
    const float glossiness = static_cast<double>(m.getGlossiness()) < 0.01 ? 0.01f : m.getGlossiness();
    if (item.whiteModel) {
        put(uniformBlock_[0], 1.0f, 1.0f, 1.0f, 0.0f);
        put(uniformBlock_[1], 0.0f, 0.0f, 0.0f, glossiness);
        put(uniformBlock_[2], 1.0f, 1.0f, 1.0f, m.getAlpha());
        put(uniformBlock_[3], 0.0f, 0.0f, 0.0f, m.getAlphaTestValue());
        return;
    }
    put(uniformBlock_[0], m.getEmissive(), m.getSpecularLevel());
    put(uniformBlock_[1], m.getAmbient(), glossiness);
    put(uniformBlock_[2], m.getDiffuse(), m.getAlpha());
    put(uniformBlock_[3], m.getSpecular(), m.getAlphaTestValue());
}

void BaseProcessor::bindChannels(ShaderProgram& program, RenderItem& item)
{
    Texture2D* placeholder = owner_->placeholderTexture;
    if (item.colorRamp) {
        auto* ramp = dynamic_cast<AssetTexture1D*>(request(kColorRamp));
        const unsigned int name =
            ramp && ramp->isReady() && ramp->texture() ? ramp->texture()->name() : placeholder->name();
        program.setTexture1D("u_TexC", name, GL_LINEAR, GL_CLAMP_TO_EDGE);
    }
    if (item.noMaterial)
        return;
    Material& m = *item.material;
    for (int i = 0; i < RenderItem::kChannels; ++i) {
        const std::string name = m.getTexture(i);
        if (item.water && i == 2) {
            program.setTexture2D("u_Tex2", texture2DName(request(kWaterImage), placeholder), GL_LINEAR_MIPMAP_LINEAR,
                                 GL_MIRRORED_REPEAT);
            program.setTextureCube("u_Tex3", cubeName(request(kSkyCube), placeholder));
        } else if (!name.empty()) {
            Asset* asset = request(name);
            program.setTexture2D(kChannelSamplers[i], texture2DName(asset, placeholder), GL_LINEAR_MIPMAP_LINEAR,
                                 GL_MIRRORED_REPEAT);
            const Vector3 offset = m.getUvOffset(i);
            const Vector3 scale = m.getUvScale(i);
            put(uniformBlock_[25 + i], offset.x, offset.y, scale.x, scale.y);
            uniformBlock_[45 + i][0] = m.getWeight(i);
            if (m.getBump() && i == 4) {
                if (auto* image = dynamic_cast<AssetTexture2D*>(asset)) {
                    uniformBlock_[34][0] = image->inverseWidth();
                    uniformBlock_[34][1] = image->inverseHeight();
                }
            }
        }
        if (m.getReflective() && i == 3) {
            program.setTextureCube("u_Tex3", cubeName(request(kSkyCube), placeholder));
            put(uniformBlock_[38], m.getReflectionColor(), m.getReflectionGain());
        }
    }
}

void BaseProcessor::drawGeometry(const RenderList& items, const char* programName, Matrix4 viewProj)
{
    g_waterClock += 0.001;
    FrameContext* frame = owner_->frameContext;
    Camera* camera = frame->camera;
    AABB3& bounds = owner_->scene->bounds();
    writeFrameEntries();

    for (RenderItem* item : items) {
        if (!item->material)
            continue;
        ShaderProgram* program = owner_->shaderManager->acquireProgram(std::string(programName), frame, item);
        owner_->useProgram(program);

        if (item->sky) {
            // The sky stays a perspective picture under an orthographic camera.
            const Vector4& viewport = camera->getViewport();
            const Matrix4 projection =
                Matrix4::perspective(camera->getFov(), viewport.z / viewport.w, camera->getNear(), camera->getFar());
            program->setMatrix("viewProjMat", projection * camera->getInverseTransform());
        } else {
            program->setMatrix("viewProjMat", viewProj);
        }
        program->setMatrix("worldMat", *item->transform);
        program->setMatrix("worldMatN", *item->normalMatrix);

        const Material& m = *item->material;
        if (m.getDepthTest()) {
            glEnable(GL_DEPTH_TEST);
            glDepthFunc(GL_LEQUAL);
        } else {
            glDisable(GL_DEPTH_TEST);
        }
        glDisable(GL_CULL_FACE);  // every face is two-sided
        glDepthMask(m.getDepthWrite() ? GL_TRUE : GL_FALSE);
        if (m.getBlend()) {
            glEnable(GL_BLEND);
            glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        } else {
            glDisable(GL_BLEND);
        }
        writeMaterialEntries(*item);

        // Two spot lights fit the shader; more write on into the next
        // entries, which the scene with its one sun never does.
        for (std::size_t k = 0; k < item->spotLights.size() && 19 + 5 * k < 64; ++k) {
            SpotLight& light = *item->spotLights[k];
            const Vector3& color = light.getColor();
            const float intensity = light.getIntensity();
            put(uniformBlock_[15 + 5 * k], color * intensity, 1.0f);
            put(uniformBlock_[16 + 5 * k], light.getPosition(), light.getLinear());
            put(uniformBlock_[17 + 5 * k], light.getDirection(), light.getQuadratic());
            uniformBlock_[18 + 5 * k][3] = light.getInnerCos();
            uniformBlock_[19 + 5 * k][3] = light.getOuterCos();
            const auto matrix = frame->lightMatrices.find(lightKey(kSpotLightKey, bounds, light));
            if (matrix != frame->lightMatrices.end())
                program->setMatrix("lightSpaceMatrix", matrix->second);
        }

        if (item->layout) {
            for (const auto& entry : *item->layout) {
                const LayoutEntry& e = entry.second;
                const std::string attribute = e.name.size() == 8 ? std::string("a_Vertex") : "a_" + e.name;
                if (program->hasAttribute(attribute))
                    program->setAttributeBuffer(attribute, e.buffer, e.offset, e.components);
            }
        }
        bindChannels(*program, *item);
        program->setVec4Array("u_Uniform", 64, &uniformBlock_[0][0]);
        const ReviewBinding review(*program, *item, *owner_);

        if (!item->indexBuffer || item->indexCount == 0)
            continue;
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, item->indexBuffer->name());
        program->setTexture2D("shadowMap", owner_->namedTextures["depthTex"], GL_LINEAR, GL_CLAMP_TO_BORDER);
        glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(item->indexCount),
                       item->indexWidth ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT, nullptr);
        countDraw(item->indexCount);
    }
}

} // namespace Velda
