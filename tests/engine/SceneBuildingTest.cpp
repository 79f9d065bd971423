// Scene building from an index, the drawables' surfaces, the start framing
// and the sun dial: the scene side of the picture, without GL.
#include "assets/AssetManager.h"
#include "assets/AssetMaterial.h"
#include "assets/AssetMesh.h"
#include "formats/Material.h"
#include "jobs/JobManager.h"
#include "scene/Camera.h"
#include "scene/MiniMapFraming.h"
#include "scene/SceneBuilder.h"
#include "scene/SceneRoot.h"
#include "scene/SenceBackGround.h"
#include "scene/SpotLight.h"
#include "scene/StaticMesh.h"
#include "scene/SunDial.h"

#include "JobPump.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

using namespace Velda;

namespace {

IndexObject object(int id, Vector3 min, Vector3 max, bool castShadow = true)
{
    IndexObject o;
    o.id = id;
    o.bounds = AABB3(min, max);
    o.castShadow = castShadow;
    o.surfaces.push_back(IndexSurface{200 + id, 100 + id, "s" + std::to_string(id)});  // material, mesh
    return o;
}

// A project 1000 units across (scale 0.01), with slabs of the given sizes
// and one thin upright wall.
SceneIndex slabs(std::initializer_list<float> sides)
{
    SceneIndex index;
    index.bounds = AABB3(Vector3(0, 0, 0), Vector3(1000, 0, 0));
    int id = 1;
    for (float side : sides)
        index.objects[id] = object(id, Vector3(0, 0, 0), Vector3(side, side, 1)), ++id;
    return index;
}

float zShift(StaticMesh* mesh)
{
    return mesh->getTransform().m[14];
}

std::unique_ptr<AssetMaterial> materialAsset(int id, const std::string& name, bool reflective = false,
                                             bool textures = true)
{
    auto asset = std::make_unique<AssetMaterial>("file:///m.mt?Id=" + std::to_string(id), nullptr);
    auto* m = new Material();
    m->setName(name);
    m->setReflective(reflective);
    m->setSpecularLevel(0.9f);
    if (textures) {
        m->setTexture(0, "texs/a.jpg");
        m->setUvSet(0, 1);
        m->setTexture(1, "texs/b.jpg");  // no uv set: names no varying
        m->setTexture(3, "texs/c.jpg");  // never a macro by name
    }
    asset->setMaterial(m, id);
    return asset;
}

class SceneBuildingTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        JobManager::instance().clearJobs();
        JobManager::instance().stopWorker();
    }
    SceneRoot scene;
    Camera camera;
    AssetManager assets;
    SceneBuilder builder{&scene, &camera, &assets};
};

} // namespace

TEST_F(SceneBuildingTest, FourLargestSlabsShiftApart)
{
    SceneIndex three = slabs({500, 400, 300});
    builder.buildProject(three, "file:///nowhere/");
    for (StaticMesh* m : scene.getStaticMeshes()) {
        EXPECT_EQ(zShift(m), 0.0f);
        EXPECT_FALSE(m->getNoReflection());
    }

    SceneRoot scene4;
    SceneBuilder builder4(&scene4, &camera, &assets);
    // Ids 2 and 3 share a footprint: the later one ranks higher.
    builder4.buildProject(slabs({100, 300, 300, 500, 200}), "file:///nowhere/");
    const auto meshes = scene4.getStaticMeshes();
    ASSERT_EQ(meshes.size(), 5u);
    EXPECT_FLOAT_EQ(zShift(meshes[3]), -0.0003f);
    EXPECT_TRUE(meshes[3]->getNoReflection());
    EXPECT_FLOAT_EQ(zShift(meshes[2]), 0.0002f);
    EXPECT_FLOAT_EQ(zShift(meshes[1]), 0.0002f);
    EXPECT_FLOAT_EQ(zShift(meshes[4]), -0.0001f);
    EXPECT_EQ(zShift(meshes[0]), 0.0f);
    EXPECT_FALSE(meshes[2]->getNoReflection());
}

TEST_F(SceneBuildingTest, ScaleBoundsShadowsAndQueue)
{
    SceneIndex index;
    index.bounds = AABB3(Vector3(0, 0, 0), Vector3(300, 400, 0));  // diagonal 500: scale 0.02
    index.objects[3] = object(3, Vector3(0, 0, 0), Vector3(100, 100, 1));     // flat slab
    index.objects[1] = object(1, Vector3(10, 10, 0), Vector3(20, 20, 50), false);  // upright, csh off
    index.objects[2] = object(2, Vector3(5, 5, 0), Vector3(5, 5, 80));        // no footprint
    index.materialFiles = {"1", "2"};
    index.meshFiles = {"1"};
    builder.buildProject(index, "file:///nowhere/p/");

    const auto meshes = scene.getStaticMeshes();
    ASSERT_EQ(meshes.size(), 3u);  // ascending id
    for (StaticMesh* m : meshes) {
        EXPECT_TRUE(m->getCastShadow());
        EXPECT_FLOAT_EQ(m->getTransform().m[0], 0.02f);
    }
    EXPECT_NEAR(meshes[0]->getBox().getMax().x, 0.4f, 1e-6f);
    // Only the upright object counts towards the bounds.
    EXPECT_NEAR((scene.bounds().getMin() - Vector3(0.2f, 0.2f, 0.0f)).length(), 0.0f, 1e-6f);
    EXPECT_NEAR((scene.bounds().getMax() - Vector3(0.4f, 0.4f, 1.0f)).length(), 0.0f, 1e-6f);

    EXPECT_EQ(assets.expectedCount(), 3u);
    EXPECT_EQ(builder.meshUsers().count(101), 1u);
    EXPECT_EQ(builder.materialUsers().count(203), 1u);
    ASSERT_TRUE(VeldaTest::waitForFinished(3));
    const auto finished = JobManager::instance().finishedJobs();
    ASSERT_EQ(finished.size(), 3u);
    EXPECT_EQ(finished[0], static_cast<IJob*>(assets.find("file:///nowhere/p/1.mt")));
    EXPECT_EQ(finished[1], static_cast<IJob*>(assets.find("file:///nowhere/p/2.mt")));
    EXPECT_EQ(finished[2], static_cast<IJob*>(assets.find("file:///nowhere/p/1.me")));

    SceneIndex empty;
    SceneRoot emptyScene;
    SceneBuilder(&emptyScene, &camera, &assets).buildProject(empty, "file:///nowhere/e/");
    EXPECT_EQ(assets.expectedCount(), 0u);
}

TEST_F(SceneBuildingTest, SkyFollowsCameraAndCastsNoShadow)
{
    SceneIndex sky;
    sky.bounds = AABB3(Vector3(-1, -1, -1), Vector3(1, 1, 1));
    sky.objects[1] = object(1, Vector3(-1, -1, -1), Vector3(1, 1, 1));
    sky.materialFiles = {"1"};
    assets.setExpectedCount(7);
    builder.buildSky(sky, "file:///nowhere/SkyResources/");
    EXPECT_EQ(assets.expectedCount(), 7u);
    ASSERT_EQ(scene.getBackgrounds().size(), 1u);
    SenceBackGround* background = scene.getBackgrounds()[0];
    EXPECT_FALSE(background->getCastShadow());
    EXPECT_EQ(background->getCamera(), &camera);

    // Not drawn until both mesh and material are ready.
    AssetMesh mesh("file:///nowhere/SkyResources/1.me?Id=0", nullptr);
    mesh.setGeometry(nullptr, 101);
    mesh.finish();
    builder.skyMeshArrived(static_cast<LoadJob*>(&mesh));
    RenderList list;
    background->collectRenderItems(list);
    EXPECT_TRUE(list.empty());

    auto material = materialAsset(201, "\xE6\xB0\xB4 sky", false, false);  // a water name means nothing to the sky
    material->finish();
    builder.skyMaterialArrived(static_cast<LoadJob*>(material.get()));
    camera.setPosition(3, 4, 5);
    background->collectRenderItems(list);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(background->getPosition(), Vector3(3, 4, 5));
    EXPECT_TRUE(list[0]->sky);
    EXPECT_FALSE(list[0]->noSky);
    EXPECT_FALSE(list[0]->water);
    EXPECT_FALSE(material->material()->getDepthWrite());
    EXPECT_FLOAT_EQ(material->material()->getSpecularLevel(), 0.9f);
}

TEST(StaticMeshSurfaces, MaterialRulesAndMacros)
{
    SceneRoot scene;
    auto* mesh = static_cast<StaticMesh*>(scene.createObject(SceneRoot::kStaticMesh));
    mesh->addSurface(1, 11, "a");
    mesh->addSurface(1, 12, "b");
    AssetMesh meshAsset("file:///x/1.me?Id=0", nullptr);
    meshAsset.setGeometry(nullptr, 1);

    // A mesh without material is drawn with the default shading.
    RenderList list;
    mesh->collectRenderItems(list);
    EXPECT_TRUE(list.empty());
    mesh->setMesh(&meshAsset);
    meshAsset.finish();
    mesh->collectRenderItems(list);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_TRUE(list[0]->noMaterial);

    // The last material to arrive covers every surface, whatever their ids.
    auto water = materialAsset(11, "pool \xE6\xB0\xB4");
    mesh->setNoReflection(true);
    mesh->setMaterial(water.get());
    auto glass = materialAsset(12, "glass", true);
    mesh->setMaterial(glass.get());
    list.clear();
    mesh->collectRenderItems(list);
    for (RenderItem* item : list) {
        EXPECT_FALSE(item->noMaterial);
        EXPECT_EQ(item->material, glass->material());
        EXPECT_TRUE(item->water);  // the flag stays from the water material
        EXPECT_EQ(item->macroNames[0], "UNI_TEX_0_UV");
        EXPECT_EQ(item->macroValues[0], "v_UV1");
        EXPECT_EQ(item->macroValues[1], "v_UV-1");
        EXPECT_EQ(item->macroNames[3], "UNI_TEX_3_UV");  // from the reflection switch alone
        EXPECT_EQ(item->macroValues[3], "0");
        EXPECT_TRUE(item->macroNames[2].empty());
        EXPECT_EQ(item->transform, &mesh->getTransform());
        EXPECT_EQ(item->box, &mesh->getBox());
    }
    // Water keeps its 0.5 against the no-reflection flag; others lose it.
    EXPECT_FLOAT_EQ(water->material()->getSpecularLevel(), 0.5f);
    EXPECT_EQ(glass->material()->getSpecularLevel(), 0.0f);

    auto plain = materialAsset(13, "plain");
    mesh->setMaterial(plain.get());
    EXPECT_TRUE(list[0]->macroNames[3].empty());  // a channel 3 name without the switch
}

TEST(StartFraming, MapCameraLiveCameraAndMarker)
{
    MiniMapFraming framing;
    framing.setStartView(MiniMapFraming::StartView::Specified);
    AABB3 box(Vector3(0, 0, 0), Vector3(4, 2, 1));
    Camera live;
    Vector3 pivot;
    ASSERT_TRUE(framing.update(box, live, pivot));
    EXPECT_FALSE(framing.update(box, live, pivot));  // unchanged box: no reframing
    EXPECT_EQ(pivot, Vector3(2, 1, 0));
    EXPECT_EQ(live.getPosition(), Vector3(2, 2, 1.5f));
    // The camera looks at the pivot: its -z axis points there.
    const Matrix4& t = live.getTransform();
    const Vector3 back(t.m[8], t.m[9], t.m[10]);
    const Vector3 toPivot = (pivot - live.getPosition()).normalized();
    EXPECT_NEAR(back.dot(toPivot), -1.0f, 1e-5f);
    // 120 by 80 over a 4 by 2 box: width fits, height follows the aspect.
    EXPECT_FLOAT_EQ(framing.bounds()[1], 2.0f);
    EXPECT_NEAR(framing.bounds()[3], 4.0f * 80.0f / 120.0f / 2.0f, 1e-5f);
    EXPECT_EQ(framing.mapCamera().getProjectionType(), Camera::kOrthographic);
    EXPECT_EQ(framing.mapCamera().getViewport().z, 240.0f);

    int x = 0, y = 0;
    framing.markerPosition(pivot, x, y);
    EXPECT_EQ(x, 53);
    EXPECT_EQ(y, 33);
    framing.markerPosition(Vector3(3, 1, 0), x, y);  // east of the centre shows left: the map is turned
    EXPECT_EQ(x, 23);

    AABB3 point;  // an empty scene reframes every time
    EXPECT_TRUE(framing.update(point, live, pivot));
    EXPECT_TRUE(framing.update(point, live, pivot));
}

// The start view stands back from the box, above one corner: every corner
// of the box is inside the picture of the live camera's field of view and
// viewport, and it follows the box as the scene grows.
TEST(StartFraming, OverviewSeesTheWholeBoxFromAbove)
{
    MiniMapFraming framing;
    EXPECT_EQ(framing.startView(), MiniMapFraming::StartView::Overview);
    Camera live;
    live.setNear(0.1f);
    live.setFar(1000.0f);
    live.setViewport(0, 0, 1024, 700);
    Vector3 pivot;
    const auto check = [&](AABB3 box) {
        SCOPED_TRACE(box.getMax().x);
        ASSERT_TRUE(framing.update(box, live, pivot));
        const Vector3 centre = (box.getMin() + box.getMax()) * 0.5f;
        EXPECT_EQ(pivot, centre);
        EXPECT_GT(live.getPosition().z, centre.z);  // looking down at it
        const Matrix4 viewProjection = live.getProjection() * live.getInverseTransform();
        float widest = 0.0f;
        for (int corner = 0; corner < 8; ++corner) {
            const Vector3 min = box.getMin(), max = box.getMax();
            const Vector4 p = viewProjection.transformVector4(Vector4((corner & 1) ? max.x : min.x,
                                                                      (corner & 2) ? max.y : min.y,
                                                                      (corner & 4) ? max.z : min.z, 1.0f));
            ASSERT_GT(p.w, 0.0f) << "a corner behind the camera";
            EXPECT_LE(std::fabs(p.x / p.w), 1.0f);
            EXPECT_LE(std::fabs(p.y / p.w), 1.0f);
            EXPECT_LT(p.z / p.w, 1.0f) << "a corner beyond the far plane";
            widest = std::max({widest, std::fabs(p.x / p.w), std::fabs(p.y / p.w)});
        }
        EXPECT_GT(widest, 0.7f) << "the box fills the picture";  // not a speck far off
        // The centre is in the middle of the picture.
        const Vector4 c = viewProjection.transformVector4(Vector4(centre.x, centre.y, centre.z, 1.0f));
        EXPECT_NEAR(c.x / c.w, 0.0f, 1e-4f);
        EXPECT_NEAR(c.y / c.w, 0.0f, 1e-4f);
    };
    check(AABB3(Vector3(-3, -2, 0), Vector3(3, 2, 1.5f)));  // a house
    check(AABB3(Vector3(-3, -2, 0), Vector3(9, 2, 1.5f)));  // grown while loading: framed again
    check(AABB3(Vector3(0, 0, 0), Vector3(0.5f, 0.5f, 9)));  // a tower
    // An empty scene gives a point: the specified step back, never a camera inside it.
    AABB3 point;
    ASSERT_TRUE(framing.update(point, live, pivot));
    EXPECT_EQ(live.getPosition(), Vector3(0, 1, 1));
}

TEST(SunDialTurns, ElevationAndPlacement)
{
    EXPECT_FLOAT_EQ(SunDial::elevationOf(0.0f), 0.0f);
    EXPECT_NEAR(SunDial::elevationOf(1.5707963f), 1.9634953f + 3.1415925f, 1e-5f);
    EXPECT_NEAR(SunDial::elevationOf(3.1415925f), 6.2831850f, 1e-5f);
    // The top of the dial wraps without a jump: 2 pi and 0 give the same turn.
    const float top = SunDial::elevationOf(6.283185f);
    EXPECT_NEAR(std::cos(top), 1.0f, 1e-5f);
    EXPECT_NEAR(std::sin(top), 0.0f, 1e-4f);

    AABB3 box(Vector3(-1, -1, 0), Vector3(1, 1, 2));
    SpotLight sun;
    SunDial dial;
    const std::string before = sun.getStateText();
    dial.turnByTime(3.1415925f, box, sun);  // noon: straight down onto the top centre
    EXPECT_NE(sun.getStateText(), before);
    EXPECT_NEAR(sun.getDirection().z, -1.0f, 1e-4f);
    EXPECT_NEAR(sun.getPosition().z, 2.0f + 4.1569f, 1e-3f);
    EXPECT_NEAR(sun.getPosition().x, 0.0f, 1e-3f);

    dial.turnByTime(1.5707963f, box, sun);  // morning: low, from the side
    EXPECT_GT(std::fabs(sun.getDirection().y), 0.5f);
    const Vector3 morning = sun.getDirection();
    dial.turnByAzimuth(5.497787f + 3.1415925f, box, sun);
    EXPECT_NEAR(sun.getDirection().y, -morning.y, 1e-4f);
    EXPECT_NEAR((sun.getPosition() - Vector3(0, 0, 2)).length(), 4.1569f, 1e-3f);
}
