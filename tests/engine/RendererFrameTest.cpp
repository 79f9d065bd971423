// Whole frames through the real passes on the test's GL context: what is
// kept between frames, where a frame goes, and what an empty scene shows.
#include "assets/AssetManager.h"
#include "assets/AssetMaterial.h"
#include "assets/AssetMesh.h"
#include "formats/Geometry.h"
#include "formats/Material.h"
#include "platform/Platform.h"
#include "render/Context3d.h"
#include "render/FrameContext.h"
#include "render/RenderTarget.h"
#include "scene/Camera.h"
#include "scene/SceneRoot.h"
#include "scene/SpotLight.h"
#include "scene/StaticMesh.h"
#include "scene/SunDial.h"
#include "scene/ViewerDefaults.h"

#include "AssetGLTest.h"

#include <GL/glew.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

using namespace Velda;

namespace {

const int kWidth = 96;
const int kHeight = 64;

// A flat square of the given half size at height z, facing up.
Geometry* square(float half, float z)
{
    auto* g = new Geometry();
    const float positions[12] = {-half, -half, z, half, -half, z, half, half, z, -half, half, z};
    const float normals[12] = {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1};
    const uint16_t indices[6] = {0, 1, 2, 0, 2, 3};
    g->vertexCount = 4;
    g->addAttributeGroup("Position", 3, 4, positions);
    g->addAttributeGroup("Normal", 3, 4, normals);
    g->addIndexSet("s", 6, indices, false);
    g->setIndexCount("s", 6);
    return g;
}

class FrameTest : public VeldaTest::AssetGLTest {
protected:
    void SetUp() override
    {
        AssetGLTest::SetUp();
        ctx = Context3d::instance();
        ctx->initialize();
        ctx->viewportWidth = kWidth;
        ctx->viewportHeight = kHeight;
        camera = createViewerCamera(scene);
        camera->setViewport(0, 0, kWidth, kHeight);
        camera->setPosition(0, -3, 2);
        camera->lookAt(Vector3(0, 0, 0), Vector3(0, 0, 1));
        camera->setPosition(0, -3, 2);
        sun = createViewerSun(scene);
        TargetLayout layout;
        layout.width = kWidth;
        layout.height = kHeight;
        layout.internalFormat = GL_RGBA8;
        layout.format = GL_RGBA;
        layout.type = GL_UNSIGNED_BYTE;
        layout.depthFormat = GL_DEPTH24_STENCIL8;
        target = RenderTarget::make(layout, 0);
    }
    void TearDown() override
    {
        target.reset();
        Context3d::destroyInstance();
        meshes.clear();
        materials.clear();
        AssetGLTest::TearDown();
    }

    // A ground and a raised square over it, which shades part of it. The
    // colour ramp every mesh asks for comes from the sky beside the test,
    // as the boot would fetch it; the scene is ready once it is in.
    void buildScene(bool ready = true)
    {
        manager->load("file://" + Platform::programFolder() + "/SkyResources/img/color.jpg", Callback());
        manager->load("SkyResources/img/color.lt", Callback());
        ASSERT_TRUE(VeldaTest::pumpJobs());
        if (ready) {
            ASSERT_TRUE(manager->isReady());
        }
        addObject(square(1.5f, 0.0f));
        addObject(square(0.4f, 0.8f));
        scene.extendBounds(AABB3(Vector3(-1.5f, -1.5f, 0.0f), Vector3(1.5f, 1.5f, 0.8f)));
    }

    void addObject(Geometry* geometry)
    {
        const int id = static_cast<int>(meshes.size());
        meshes.push_back(std::make_unique<AssetMesh>("file:///t/1.me?Id=" + std::to_string(id), nullptr));
        meshes.back()->setGeometry(geometry, id);
        meshes.back()->finish();
        materials.push_back(std::make_unique<AssetMaterial>("file:///t/1.mt?Id=" + std::to_string(id), nullptr));
        materials.back()->setMaterial(new Material(), id);
        materials.back()->finish();
        auto* object = static_cast<StaticMesh*>(scene.createObject(SceneRoot::kStaticMesh));
        object->addSurface(id, id, "s");
        object->setMesh(meshes.back().get());
        object->setMaterial(materials.back().get());
    }

    void frame(bool interactive = false)
    {
        ctx->begin(camera, -1, static_cast<int>(target.fbo()));
        ctx->render(&scene, true, true, true, interactive);
        ctx->end();
    }

    std::vector<unsigned char> pixels()
    {
        std::vector<unsigned char> rgba(kWidth * kHeight * 4);
        glBindFramebuffer(GL_FRAMEBUFFER, target.fbo());
        glReadPixels(0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
        return rgba;
    }

    Context3d* ctx = nullptr;
    SceneRoot scene;
    Camera* camera = nullptr;
    SpotLight* sun = nullptr;
    RenderTarget target;
    std::vector<std::unique_ptr<AssetMesh>> meshes;
    std::vector<std::unique_ptr<AssetMaterial>> materials;
};

} // namespace

TEST_F(FrameTest, EmptySceneComposesTheClearColour)
{
    ctx->setBloomCoefficient(0);  // no exposure and no curve: the scene as it is
    frame();
    const std::vector<unsigned char> plain = pixels();
    for (size_t i = 0; i < plain.size(); i += 4) {
        ASSERT_NEAR(plain[i], 138, 1);
        ASSERT_NEAR(plain[i + 1], 173, 1);
        ASSERT_NEAR(plain[i + 2], 208, 1);
    }
    // With bloom the same empty picture is exposed and curved, evenly.
    ctx->setBloomCoefficient(21);
    frame();
    const std::vector<unsigned char> curved = pixels();
    EXPECT_NE(curved[0], plain[0]);
    for (size_t i = 0; i < curved.size(); i += 4)
        ASSERT_EQ(curved[i], curved[0]);
}

TEST_F(FrameTest, ShadowMapIsKeptWhileNothingChanges)
{
    buildScene();
    SunDial dial;
    dial.turnByTime(2.0f, scene.bounds(), *sun);
    frame();
    EXPECT_EQ(ctx->stats.shadowDraws, 1u);  // the one drawing once the scene is ready
    const unsigned map = ctx->namedTextures["depthTex"];
    for (int i = 0; i < 50; ++i)
        frame();
    EXPECT_EQ(ctx->stats.shadowDraws, 1u);

    // Each frame that changes the light's key redraws; holding still stops it.
    dial.turnByTime(2.1f, scene.bounds(), *sun);
    frame();
    EXPECT_EQ(ctx->stats.shadowDraws, 2u);
    dial.turnByTime(2.2f, scene.bounds(), *sun);
    frame();
    frame();
    EXPECT_EQ(ctx->stats.shadowDraws, 3u);

    // Level 0 keeps the size of level 2: the old map stays on show.
    ctx->setShadowQuality(0, sun);
    frame();
    EXPECT_EQ(ctx->namedTextures["depthTex"], map);
    EXPECT_EQ(ctx->shadowWidth, static_cast<unsigned>(ctx->shadowBaseWidth));
    // The sun's switch is part of its key, so the map follows it once.
    EXPECT_EQ(ctx->stats.shadowDraws, 4u);
    frame();
    EXPECT_EQ(ctx->stats.shadowDraws, 4u);
    ctx->setShadowQuality(1, sun);
    frame();
    frame();
    EXPECT_EQ(ctx->stats.shadowDraws, 6u);  // a new size, and the sun's switch back on
    EXPECT_EQ(ctx->shadowWidth, static_cast<unsigned>(ctx->shadowBaseWidth / 2));
}

TEST_F(FrameTest, ShadowMapIsRedrawnOnEveryFrameWhileLoading)
{
    manager->load("file:///nowhere/never.mt", Callback());  // a bundle that never arrives
    buildScene(false);
    for (int i = 0; i < 5; ++i)
        frame();
    EXPECT_EQ(ctx->stats.shadowDraws, 5u);
}

TEST_F(FrameTest, OffscreenFramesGoToTheGivenTexture)
{
    buildScene();
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, kWidth, kHeight, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    ctx->begin(camera, static_cast<int>(texture), static_cast<int>(target.fbo()));
    EXPECT_TRUE(ctx->frameContext->offscreenActive);
    ctx->render(&scene, true, true, true, false);
    ctx->end();
    EXPECT_FALSE(ctx->frameContext->offscreenActive);
    EXPECT_EQ(ctx->frameContext->targetTexture, -1);
    GLint bound = -1;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &bound);
    EXPECT_EQ(bound, static_cast<GLint>(target.fbo()));

    std::vector<unsigned char> rgba(kWidth * kHeight * 4);
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    size_t lit = 0;
    for (size_t i = 0; i < rgba.size(); i += 4)
        lit += rgba[i + 3] == 255;
    EXPECT_EQ(lit, rgba.size() / 4);  // the composition covers the whole texture

    // A texture that cannot be drawn into (it has no storage) refuses the frame.
    GLuint empty = 0;
    glGenTextures(1, &empty);
    glBindTexture(GL_TEXTURE_2D, empty);
    try {
        ctx->begin(camera, static_cast<int>(empty), static_cast<int>(target.fbo()));
        FAIL() << "no error for texture 0";
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "FBO ERROR!");
    }
    glDeleteTextures(1, &texture);
    glDeleteTextures(1, &empty);
}
