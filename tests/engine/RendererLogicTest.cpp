// The renderer's decisions that need no GL: the day cycle, the draw lists
// and the slider mappings.
#include "formats/Material.h"
#include "render/Context3d.h"
#include "render/DayCycle.h"
#include "scene/Camera.h"
#include "scene/DctLight.h"
#include "scene/SceneRoot.h"
#include "scene/SpotLight.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace Velda;

namespace {

const float kP = 3.1415925f / 8.0f;

DayCycle dayAt(float a)
{
    return DayCycle::at(a, false, DayCycle());
}

void expectColor(const float* c, float r, float g, float b)
{
    EXPECT_NEAR(c[0], r / 255.0f, 1e-5f);
    EXPECT_NEAR(c[1], g / 255.0f, 1e-5f);
    EXPECT_NEAR(c[2], b / 255.0f, 1e-5f);
}

} // namespace

TEST(DayCycle, KnotsDayAndNight)
{
    const DayCycle midnight = dayAt(0.0f);
    EXPECT_TRUE(midnight.night);
    EXPECT_FLOAT_EQ(midnight.nightMix, 1.0f);
    EXPECT_FLOAT_EQ(midnight.glowLevel, 0.1f);
    expectColor(midnight.sunColor, 24, 27, 66);
    expectColor(midnight.shadeColor, 5, 12, 15.5f);
    EXPECT_FLOAT_EQ(midnight.ambientLevel, 0.3f);

    // Noon lies halfway between the knots at 6 and 10.
    const DayCycle noon = dayAt(8 * kP);
    EXPECT_FALSE(noon.night);
    EXPECT_EQ(noon.nightMix, 0.0f);
    expectColor(noon.sunColor, 221, 232, 230);
    expectColor(noon.shadeColor, 20.5f, 24.5f, 26);
    EXPECT_FLOAT_EQ(noon.sunLevel, 1.3f);
    EXPECT_FLOAT_EQ(noon.ambientLevel, 1.0f);
    EXPECT_FLOAT_EQ(noon.glowLevel, 1.0f);
    EXPECT_EQ(noon.shadowLift, 0.0f);
    EXPECT_FLOAT_EQ(noon.glowColor[1], 0.8901961f);

    // Dusk at 3P is still night (day is 3P < a <= 13P) and the lift is full.
    const DayCycle dusk = dayAt(3 * kP);
    EXPECT_TRUE(dusk.night);
    EXPECT_NEAR(dusk.nightMix, 0.0f, 1e-6f);
    EXPECT_FLOAT_EQ(dusk.shadowLift, 1.0f);
    expectColor(dusk.sunColor, 14.5f, 19.5f, 40.75f);
    const DayCycle dawn = dayAt(13 * kP);
    EXPECT_FALSE(dawn.night);
    EXPECT_FLOAT_EQ(dawn.glowLevel, 0.1f);

    // Between knots 4 and 6 the sun's colour runs straight.
    const DayCycle morning = dayAt(5 * kP);
    expectColor(morning.sunColor, 184, 195, 230);

    // Beyond two pi every curve holds its last value and night rules.
    const DayCycle beyond = dayAt(7.5f);
    EXPECT_TRUE(beyond.night);
    expectColor(beyond.sunColor, 24, 27, 66);
    EXPECT_EQ(beyond.shadowLift, 0.0f);
    EXPECT_FLOAT_EQ(beyond.sunLevel, 1.0f);
    EXPECT_LE(beyond.nightMix, 1.0f);

    // Constant light fixes the levels and leaves the colours alone.
    const DayCycle still = DayCycle::at(8 * kP, true, midnight);
    expectColor(still.sunColor, 24, 27, 66);
    EXPECT_EQ(still.sunLevel, 1.0f);
    EXPECT_EQ(still.shadowLift, 0.0f);
    EXPECT_EQ(still.nightMix, 1.0f);

    float packed[14];
    noon.store(packed);
    EXPECT_EQ(packed[6], noon.nightMix);
    EXPECT_EQ(packed[12], noon.sunLevel);
    EXPECT_EQ(packed[13], noon.shadowLift);
}

class ListsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ctx = Context3d::instance();
        ctx->defaultMaterial = new Material();
        ctx->scene = &scene;
    }
    void TearDown() override { Context3d::destroyInstance(); }

    RenderItem* item(float alpha, bool blend, float x)
    {
        auto m = std::make_unique<Material>();
        m->setAlpha(alpha);
        m->setBlend(blend);
        auto i = std::make_unique<RenderItem>();
        i->material = m.get();
        auto t = std::make_unique<Matrix4>();
        t->translate(x, 0.0f, 0.0f);
        i->transform = i->transformTwin = t.get();
        materials.push_back(std::move(m));
        matrices.push_back(std::move(t));
        items.push_back(std::move(i));
        return items.back().get();
    }

    Context3d* ctx = nullptr;
    SceneRoot scene;
    std::vector<std::unique_ptr<Material>> materials;
    std::vector<std::unique_ptr<Matrix4>> matrices;
    std::vector<std::unique_ptr<RenderItem>> items;
};

TEST_F(ListsTest, AlphaBlendDistanceAndFlags)
{
    auto* sun = static_cast<SpotLight*>(scene.createObject(SceneRoot::kSpotLight));
    RenderItem* solid = item(1.0f, false, 0.0f);
    RenderItem* hidden = item(0.5f, false, 0.0f);     // translucent without blending: nobody draws it
    RenderItem* over = item(1.5f, true, 0.0f);        // alpha above one: nobody draws it
    RenderItem* nearGlass = item(0.5f, true, 1.0f);
    RenderItem* farGlass = item(0.5f, true, 5.0f);
    RenderItem* twinA = item(0.5f, true, -3.0f);
    RenderItem* twinB = item(0.5f, true, 3.0f);       // same distance as twinA, inserted later
    RenderItem* bare = item(1.0f, false, 0.0f);
    bare->material = nullptr;
    bare->noMaterial = true;
    RenderItem sky;
    sky.sky = true;

    ctx->whiteModel = true;
    ctx->nightMode = true;
    ctx->variantsDirty = true;
    solid->macrosReady = true;
    RenderList meshes{solid, hidden, over, nearGlass, farGlass, twinA, twinB, bare};
    RenderList opaque, blended;
    ctx->buildLists(meshes, RenderList{&sky}, opaque, blended);

    EXPECT_EQ(opaque, (RenderList{solid, bare, &sky}));
    EXPECT_EQ(bare->material, ctx->defaultMaterial);
    EXPECT_EQ(blended, (RenderList{farGlass, twinB, twinA, nearGlass}));
    for (RenderItem* i : meshes) {
        EXPECT_TRUE(i->whiteModel);
        EXPECT_FALSE(i->macrosReady);
        EXPECT_EQ(i->spotLights, std::vector<SpotLight*>{sun});
    }
    EXPECT_TRUE(nearGlass->night);
    EXPECT_FALSE(solid->night);
    EXPECT_FALSE(sky.whiteModel);  // sky items pass untouched
    EXPECT_FALSE(ctx->variantsDirty);

    // A directional light, once there, keeps new items from point and spot lights.
    scene.createObject(SceneRoot::kDctLight);
    RenderItem* late = item(1.0f, false, 0.0f);
    opaque.clear();
    blended.clear();
    ctx->buildLists(RenderList{late}, RenderList(), opaque, blended);
    EXPECT_EQ(late->directionalLights.size(), 1u);
    EXPECT_TRUE(late->spotLights.empty());
}

TEST_F(ListsTest, SliderMappings)
{
    SpotLight sun;
    ctx->shadowBaseWidth = ctx->shadowBaseHeight = 2048;
    const unsigned sizes[4] = {2048, 1024, 2048, 4096};
    for (int level = 3; level >= 0; --level) {
        ctx->setShadowQuality(level, &sun);
        EXPECT_EQ(ctx->shadowWidth, sizes[level]);
        EXPECT_EQ(ctx->shadowHeight, sizes[level]);
        EXPECT_EQ(sun.getCastShadow(), level != 0);
    }
    ctx->setSSAOLevel(200);
    EXPECT_EQ(ctx->ssaoPower, 1.0f);  // exactly: the occlusion passes are skipped
    EXPECT_EQ(ctx->ssaoKernelSize, 32.0f);
    ctx->setSSAOLevel(300);
    EXPECT_FLOAT_EQ(ctx->ssaoPower, 1.5f);
    EXPECT_EQ(ctx->ssaoKernelSize, 64.0f);
    ctx->setSSAOLevel(201);
    EXPECT_NEAR(ctx->ssaoPower, 1.005f, 1e-6f);
}
