#include "scene/Camera.h"
#include "scene/DctLight.h"
#include "scene/PtLight.h"
#include "scene/SceneRoot.h"
#include "scene/SenceBackGround.h"
#include "scene/SpotLight.h"
#include "scene/StaticMesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

using namespace Velda;

TEST(Object3D, CachesRecomputeOnlyWhenStale)
{
    Object3D o;
    EXPECT_FALSE(o.isInverseDirty());
    o.setPosition(1, 2, 3);
    EXPECT_TRUE(o.isInverseDirty() && o.isNormalDirty() && o.isPositionDirty());
    EXPECT_FLOAT_EQ(o.getInverseTransform().m[12], -1.0f);
    EXPECT_FALSE(o.isInverseDirty());
    o.getTransform().m[12] = 100.0f;  // a raw write marks nothing
    EXPECT_FLOAT_EQ(o.getInverseTransform().m[12], -1.0f);

    o.translate(Vector3(1, 0, 0));
    EXPECT_EQ(o.getPosition(), Vector3(101, 2, 3));
    EXPECT_FALSE(o.isPositionDirty());
    EXPECT_TRUE(o.isNormalDirty());

    EXPECT_FALSE(o.setCastShadow(false));
    EXPECT_FALSE(o.isPositionDirty());
    o.setWorldPosition(Vector3(4, 5, 6));
    EXPECT_EQ(o.getWorldPosition(), Vector3(4, 5, 6));

    // Normals under a non-uniform scale: the inverse transpose of the 3x3.
    Object3D s;
    s.scale(2, 4, 1);
    const Matrix4& n = s.getNormalMatrix();
    EXPECT_FLOAT_EQ(n.m[0], 0.5f);
    EXPECT_FLOAT_EQ(n.m[5], 0.25f);
    EXPECT_EQ(n.m[12], 0.0f);
    EXPECT_EQ(n.m[15], 1.0f);

    Vector3 axis;
    o.setAxis({0, 0, 1});
    o.getAxis(axis);
    EXPECT_EQ(axis, Vector3(0, 0, 1));
}

TEST(SceneRoot, FactoryAndLists)
{
    SceneRoot scene;
    EXPECT_EQ(scene.createObject(0), nullptr);
    EXPECT_TRUE(scene.getObjects().empty());
    for (int bad : {7, -1}) {
        try {
            scene.createObject(bad);
            FAIL() << "type " << bad;
        } catch (const std::exception& e) {
            EXPECT_STREQ(e.what(), "Can not find proper object3d type to create!");
        }
    }
    EXPECT_TRUE(scene.getObjects().empty());

    for (int type = 1; type <= 6; ++type)
        ASSERT_NE(scene.createObject(type), nullptr);
    EXPECT_EQ(scene.getObjects().size(), 6u);
    EXPECT_NE(dynamic_cast<StaticMesh*>(scene.getObjects()[0]), nullptr);
    EXPECT_NE(dynamic_cast<SenceBackGround*>(scene.getObjects()[1]), nullptr);
    EXPECT_EQ(scene.getCameras().size(), 1u);
    EXPECT_EQ(scene.getSpotLights().size(), 1u);

    scene.extendBounds(AABB3({1, 1, 1}, {3, 3, 3}));
    scene.clearStaticMeshes();
    EXPECT_TRUE(scene.getStaticMeshes().empty());
    EXPECT_EQ(scene.getBackgrounds().size(), 1u);  // alive, but out of the object list
    EXPECT_EQ(scene.getObjects().size(), 4u);
    EXPECT_EQ(scene.getObjects()[0], scene.getCameras()[0]);
    EXPECT_EQ(scene.bounds().getMax(), Vector3());
}

TEST(SceneRoot, ExtendBounds)
{
    SceneRoot scene;
    scene.extendBounds(AABB3({5, 5, 5}, {5, 5, 5}));  // zero size: ignored
    EXPECT_EQ(scene.bounds().getMax(), Vector3());
    scene.extendBounds(AABB3({1, 1, 1}, {2, 2, 2}));  // bounds still a point: taken over
    EXPECT_EQ(scene.bounds().getMin(), Vector3(1, 1, 1));
    scene.extendBounds(AABB3({-1, 1.5f, 1}, {1.5f, 4, 2}));
    EXPECT_EQ(scene.bounds().getMin(), Vector3(-1, 1, 1));
    EXPECT_EQ(scene.bounds().getMax(), Vector3(2, 4, 2));
}

TEST(Camera, ProjectionCacheAndChanges)
{
    Camera c;
    EXPECT_EQ(c.getNear(), 15.0f);
    EXPECT_EQ(c.getFar(), 0.01f);
    c.setNear(0.01f);
    c.setFar(15.0f);
    c.setViewport(0, 0, 200, 100);
    const Matrix4 first = c.getProjection();
    EXPECT_FALSE(c.isProjectionDirty());
    EXPECT_NEAR(first.m[0] * 2.0f, first.m[5], 1e-6f);  // aspect 2
    EXPECT_EQ(&c.getProjection(), &c.getProjection());

    c.setProjectionType(2);
    EXPECT_THROW(c.getProjection(), std::runtime_error);
    c.setProjectionType(1);
    c.setOrthoBounds(-0.8f, 0.8f, -0.6f, 0.6f);
    EXPECT_FLOAT_EQ(c.getProjection().m[15], 1.0f);
    c.setProjectionType(2);
    EXPECT_THROW(c.getProjection(), std::runtime_error);
    EXPECT_TRUE(c.isProjectionDirty());  // a failed rebuild leaves the cache stale

    // No check on the aspect: a zero height gives 0 (infinite aspect) or NaN.
    Camera flat;
    flat.setViewport(0, 0, 10, 0);
    EXPECT_EQ(flat.getProjection().m[0], 0.0f);
    flat.setViewport(0, 0, 0, 0);
    EXPECT_TRUE(std::isnan(flat.getProjection().m[0]));
}

TEST(Camera, LookAtLeavesCachesStale)
{
    Camera c;
    c.setViewport(0, 0, 4, 3);
    c.getProjection();
    c.setPosition(0, -5, 0);
    c.getInverseTransform();
    c.getNormalMatrix();
    c.getPosition();
    EXPECT_FALSE(c.hasChanged());

    const Matrix4 before = c.getInverseTransform();
    c.lookAt({0, 0, 0}, {0, 0, 1});
    EXPECT_FALSE(c.hasChanged());
    EXPECT_EQ(c.getInverseTransform(), before);
    // The camera's +z points away from the target.
    EXPECT_NEAR(c.getTransform().m[9], -1.0f, 1e-6f);

    c.setPosition(0, -5, 0);
    EXPECT_TRUE(c.hasChanged());
    EXPECT_NE(c.getInverseTransform(), before);
    const Vector3 seen = c.getInverseTransform().transformPoint({0, 0, 0});
    EXPECT_NEAR(seen.z, -5.0f, 1e-5f);  // in front, down -z

    c.getNormalMatrix();
    c.getPosition();
    EXPECT_FALSE(c.hasChanged());
    c.setChanged(true);
    EXPECT_TRUE(c.hasChanged());
    EXPECT_TRUE(c.hasChanged());  // not cleared on this path
    c.setFov(1.0f);
    EXPECT_TRUE(c.hasChanged());
    EXPECT_FALSE(c.getChanged());

    Camera copy(c);
    EXPECT_EQ(copy.getTransform(), c.getTransform());
    EXPECT_EQ(copy.isProjectionDirty(), c.isProjectionDirty());
}

TEST(Lights, StateTexts)
{
    SpotLight spot;
    EXPECT_EQ(spot.getStateText(), "");  // nothing set, nothing dirty
    spot.setColor(1, 1, 1);
    spot.setDirection(Vector3(-0.4f, 0.00009f, -0.8f));
    spot.setPosition(2, 1, 4);
    spot.setLinear(0.0014f);
    EXPECT_EQ(spot.getStateText(),
              "1.000-1.000-1.000-1.000-1-"
              "-0.400-0--0.800-2.000-1.000-4.000-0.001-0-1.000-1.000-1.000");

    spot.getInverseTransform();
    spot.getNormalMatrix();
    const std::string settled = spot.getStateText();
    spot.setQuadratic(5.0f);  // field setters leave the text alone
    EXPECT_EQ(spot.getStateText(), settled);
    spot.setTextDirty(true);
    EXPECT_NE(spot.getStateText().find("-5.000-"), std::string::npos);

    spot.getInverseTransform();
    spot.getNormalMatrix();
    spot.setColor(0, 0, 0);
    spot.setTextDirty(false);
    EXPECT_EQ(spot.getStateText().substr(0, 5), "1.000");  // old text until a move
    spot.translate(0, 0, 1);
    EXPECT_EQ(spot.getStateText().substr(0, 2), "0-");
    EXPECT_NE(spot.getStateText().find("-2.000-1.000-5.000-0.001-5.000-"), std::string::npos);

    spot.setCastShadow(false);
    const std::string base = spot.Light::getStateText();
    EXPECT_EQ(base.back(), '0');

    DctLight sun;
    sun.setDirection(0, 0, -1);
    EXPECT_EQ(sun.getStateText(), "0-0-0-1.000-1-0-0--1.000");
    sun.getPosition();
    sun.setPosition(1, 1, 1);
    sun.getInverseTransform();
    sun.getNormalMatrix();
    EXPECT_EQ(sun.getStateText(), "0-0-0-1.000-1-0-0--1.000");  // a position-only change is not its business

    PtLight point;
    EXPECT_THROW(point.getStateText(), std::logic_error);
}
