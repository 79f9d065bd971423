#include "scene/AABB3.h"
#include "scene/Camera.h"
#include "scene/DctLight.h"
#include "scene/Matrix4.h"
#include "scene/Measurement.h"
#include "scene/PtLight.h"
#include "scene/ReviewState.h"
#include "scene/SceneRoot.h"
#include "scene/SenceBackGround.h"
#include "scene/SpotLight.h"
#include "scene/StaticMesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

using namespace Velda;

namespace {
const float kPi = 3.14159265f;

void expectNear(const Vector3& a, const Vector3& b)
{
    EXPECT_NEAR(a.x, b.x, 1e-5f);
    EXPECT_NEAR(a.y, b.y, 1e-5f);
    EXPECT_NEAR(a.z, b.z, 1e-5f);
}

void expectNear(const Matrix4& a, const Matrix4& b)
{
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(a.m[i], b.m[i], 1e-5f) << "element " << i;
}

// Rebuilds every transform cache, so that none is stale.
void settle(Object3D& o)
{
    o.getInverseTransform();
    o.getNormalMatrix();
    o.getPosition();
}
} // namespace

TEST(Math, VectorsWithoutChecks)
{
    EXPECT_EQ(Vector3().normalized(), Vector3());  // no division by a zero length
    EXPECT_EQ(Vector2().normalized(), Vector2());
    expectNear(Vector3(3, 0, 4).normalized(), Vector3(0.6f, 0, 0.8f));
    EXPECT_NEAR(Vector2(1, 0).angle(Vector2(0, 5)), kPi / 2, 1e-6f);
    EXPECT_NEAR(Vector2(2, 2).angle(Vector2(1, 1)), 0.0f, 1e-3f);  // a cosine past 1 is clamped
    // w divides first, the result has w 1.
    EXPECT_EQ(Vector4(2, 0, 0, 2).cross(Vector4(0, 3, 0, 3)), Vector4(0, 0, 1, 1));
}

TEST(Math, MatrixLayoutAndLeftSideChanges)
{
    Matrix4 m;
    m.rotateZ(kPi / 2);
    expectNear(m.transformPoint({1, 0, 0}), {0, 1, 0});  // counter-clockwise seen from +z
    m.translate(5, 0, 0);                                 // world axes, after the rotation
    expectNear(m.transformPoint({1, 0, 0}), {5, 1, 0});
    EXPECT_FLOAT_EQ(m.m[12], 5.0f);
    m.scale(2, 2, 2);                                     // also scales the translation
    EXPECT_FLOAT_EQ(m.m[12], 10.0f);
    Matrix4 x, y;
    x.rotateX(kPi / 2);
    expectNear(x.transformPoint({0, 1, 0}), {0, 0, 1});
    y.rotateY(kPi / 2);
    expectNear(y.transformPoint({0, 0, 1}), {1, 0, 0});
    Matrix4 around;
    around.rotate({1, 1, 0}, {0, 0, 5}, kPi);  // axis normalised, line through (1, 1)
    expectNear(around.transformPoint({2, 1, 0}), {0, 1, 0});

    // M *= R is M R; * is the plain product.
    Matrix4 t;
    t.translate(1, 2, 3);
    Matrix4 s(2.0f);
    s.m[15] = 1.0f;
    Matrix4 ts = t;
    ts *= s;
    expectNear(ts.transformPoint({1, 1, 1}), {3, 4, 5});
    expectNear(t * s, ts);
    EXPECT_EQ(t.getColumn(3), Vector4(1, 2, 3, 1));
    EXPECT_EQ(t.transpose().m[3], 1.0f);
}

TEST(Math, InversesAndProjections)
{
    Matrix4 m;
    m.rotate({0, 0, 0}, {1, 2, 3}, 0.7f);
    m.scale(2, 3, 4);
    m.translate(-1, 5, 2);
    EXPECT_NEAR(m.determinant(), 24.0f, 1e-3f);
    expectNear(m * m.inverse(), Matrix4());
    const float n[9] = {2, 0, 0, 1, 3, 0, 0, 0, 4};
    float inv[9], back[9], t[9];
    inverse3x3(n, inv);
    inverse3x3(inv, back);
    for (int i = 0; i < 9; ++i)
        EXPECT_NEAR(back[i], n[i], 1e-5f);
    transpose3x3(n, t);
    EXPECT_EQ(t[3], n[1]);

    const Matrix4 p = Matrix4::perspective(kPi / 2, 2.0f, 1.0f, 3.0f);
    expectNear(p, Matrix4(0.5f, 0, 0, 0, 0, 1, 0, 0, 0, 0, -2, -1, 0, 0, -3, 0));
    EXPECT_TRUE(std::isinf(Matrix4::perspective(1, 1, 2, 2).m[10]));  // near == far is not checked
    expectNear(Matrix4::orthographic(-2, 2, -1, 1, 0, 10),
               Matrix4(0.5f, 0, 0, 0, 0, 1, 0, 0, 0, 0, -0.2f, 0, 0, 0, -1, 1));
    // translate on a projection weighs the translation by its w row.
    Matrix4 q = p;
    q.translate(1, 0, 0);
    EXPECT_FLOAT_EQ(q.m[8], p.m[8] + p.m[11]);
    EXPECT_FLOAT_EQ(q.m[12], p.m[12] + p.m[15]);
    EXPECT_TRUE(std::isnan(Matrix4(0.0f).transformPoint({1, 1, 1}).x));  // w 0 divides unchecked
}

TEST(Math, BoxesAndTheirLabel)
{
    AABB3 box;
    EXPECT_EQ(box.getLabel(), "0-0-0-0-0-0");
    box.extend(Vector3(1, -2, 0.00005f));
    EXPECT_TRUE(box.isLabelDirty());
    EXPECT_EQ(box.getLabel(), "1.000-0-0-0--2.000-0");  // maximum first
    EXPECT_FALSE(box.isLabelDirty());
    box.resetEmpty();
    box.extend(Vector3(3, 3, 3));
    EXPECT_EQ(box.getMin(), box.getMax());

    const AABB3 a({0, 0, 0}, {2, 2, 2});
    AABB3 overlap;
    EXPECT_TRUE(a.intersects(AABB3({2, 0, 0}, {3, 1, 1}), &overlap));  // touching counts
    EXPECT_EQ(overlap.getMin(), Vector3(2, 0, 0));
    EXPECT_EQ(overlap.getMax(), Vector3(2, 1, 1));
    EXPECT_FALSE(a.intersects(AABB3({2.1f, 0, 0}, {3, 1, 1})));
    EXPECT_TRUE(a.contains({2, 2, 2}));
    EXPECT_FALSE(a.contains({2, 2, 2.001f}));
}

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
    o.setCastShadow(false);
    EXPECT_FALSE(o.isPositionDirty());

    // Normals under a non-uniform scale: the inverse transpose of the 3x3.
    Object3D s;
    s.scale(2, 4, 1);
    const Matrix4& n = s.getNormalMatrix();
    EXPECT_FLOAT_EQ(n.m[0], 0.5f);
    EXPECT_FLOAT_EQ(n.m[5], 0.25f);
    EXPECT_EQ(n.m[12], 0.0f);
    EXPECT_EQ(n.m[15], 1.0f);
}

TEST(SceneRoot, FactoryListsAndBounds)
{
    SceneRoot scene;
    EXPECT_EQ(scene.createObject(0), nullptr);
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
    EXPECT_EQ(scene.getSpotLights().size(), 1u);

    scene.extendBounds(AABB3({5, 5, 5}, {5, 5, 5}));  // zero size: ignored
    EXPECT_EQ(scene.bounds().getMax(), Vector3());
    scene.extendBounds(AABB3({1, 1, 1}, {2, 2, 2}));  // bounds still a point: taken over
    EXPECT_EQ(scene.bounds().getMin(), Vector3(1, 1, 1));
    scene.extendBounds(AABB3({-1, 1.5f, 1}, {1.5f, 4, 2}));
    EXPECT_EQ(scene.bounds().getMin(), Vector3(-1, 1, 1));
    EXPECT_EQ(scene.bounds().getMax(), Vector3(2, 4, 2));

    scene.clearStaticMeshes();
    EXPECT_TRUE(scene.getStaticMeshes().empty());
    EXPECT_EQ(scene.getBackgrounds().size(), 1u);  // alive, but out of the object list
    EXPECT_EQ(scene.getObjects().size(), 4u);
    EXPECT_EQ(scene.getObjects()[0], scene.getCameras()[0]);
    EXPECT_EQ(scene.bounds().getMax(), Vector3());
}

TEST(Camera, ProjectionCacheAndChanges)
{
    Camera c;
    c.setNear(0.01f);
    c.setFar(15.0f);
    c.setViewport(0, 0, 200, 100);
    const Matrix4 first = c.getProjection();
    EXPECT_FALSE(c.isProjectionDirty());
    EXPECT_NEAR(first.m[0] * 2.0f, first.m[5], 1e-6f);  // aspect 2
    c.setProjectionType(1);
    c.setOrthoBounds(-0.8f, 0.8f, -0.6f, 0.6f);
    EXPECT_FLOAT_EQ(c.getProjection().m[15], 1.0f);
    c.setProjectionType(2);
    EXPECT_THROW(c.getProjection(), std::runtime_error);
    EXPECT_TRUE(c.isProjectionDirty());  // a failed rebuild leaves the cache stale

    Camera flat;  // no check on the aspect: a zero height gives an infinite one
    flat.setViewport(0, 0, 10, 0);
    EXPECT_EQ(flat.getProjection().m[0], 0.0f);
}

TEST(Camera, LookAtLeavesCachesStale)
{
    Camera c;
    c.setViewport(0, 0, 4, 3);
    c.getProjection();
    c.setPosition(0, -5, 0);
    settle(c);
    EXPECT_FALSE(c.hasChanged());

    const Matrix4 before = c.getInverseTransform();
    c.lookAt({0, 0, 0}, {0, 0, 1});
    EXPECT_FALSE(c.hasChanged());
    EXPECT_EQ(c.getInverseTransform(), before);
    EXPECT_NEAR(c.getTransform().m[9], -1.0f, 1e-6f);  // the camera's +z points away from the target
    c.setPosition(0, -5, 0);
    EXPECT_TRUE(c.hasChanged());
    EXPECT_NEAR(c.getInverseTransform().transformPoint({0, 0, 0}).z, -5.0f, 1e-5f);  // in front, down -z

    settle(c);
    EXPECT_FALSE(c.hasChanged());
    c.setChanged(true);
    EXPECT_TRUE(c.hasChanged());
    EXPECT_TRUE(c.hasChanged());  // not cleared while no cache is stale
    c.setFov(1.0f);
    EXPECT_TRUE(c.hasChanged());
    EXPECT_FALSE(c.getChanged());  // cleared on the stale path
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
    settle(spot);
    const std::string settled = spot.getStateText();
    spot.setQuadratic(5.0f);  // field setters leave the text alone
    EXPECT_EQ(spot.getStateText(), settled);
    spot.setTextDirty(true);
    EXPECT_NE(spot.getStateText().find("-5.000-"), std::string::npos);

    settle(spot);
    spot.setColor(0, 0, 0);
    spot.setTextDirty(false);
    EXPECT_EQ(spot.getStateText().substr(0, 5), "1.000");  // old text until a move
    spot.translate(0, 0, 1);
    EXPECT_EQ(spot.getStateText().substr(0, 2), "0-");
    EXPECT_NE(spot.getStateText().find("-2.000-1.000-5.000-0.001-5.000-"), std::string::npos);
    spot.setCastShadow(false);
    EXPECT_EQ(spot.Light::getStateText().back(), '0');

    DctLight sun;
    sun.setDirection(0, 0, -1);
    EXPECT_EQ(sun.getStateText(), "0-0-0-1.000-1-0-0--1.000");
    sun.setPosition(1, 1, 1);
    sun.getInverseTransform();
    sun.getNormalMatrix();
    EXPECT_EQ(sun.getStateText(), "0-0-0-1.000-1-0-0--1.000");  // a position-only change is not its business

    PtLight point;
    EXPECT_THROW(point.getStateText(), std::logic_error);
}

TEST(ReviewStateTest, SelectionHidingAndTheSectionCountTheirChanges)
{
    Velda::ReviewState review;
    EXPECT_FALSE(review.active());
    review.select({3, 0, 3, 5});
    EXPECT_EQ(review.selection(), (std::vector<uint32_t>{3, 5}));
    EXPECT_TRUE(review.selected(5) && !review.selected(4));
    const uint64_t selected = review.version();
    review.select({3, 5});
    EXPECT_EQ(review.version(), selected) << "the same selection is no change";
    EXPECT_EQ(review.visibilityVersion(), 0u) << "a selection changes no shadow";

    review.hide({2, 2, 7});
    EXPECT_EQ(review.hiddenCount(), 2u);
    EXPECT_TRUE(review.hidden(7) && !review.hidden(3) && !review.hidden(1000));
    review.isolate({4}, 6);
    EXPECT_EQ(review.hiddenCount(), 5u);
    EXPECT_TRUE(!review.hidden(4) && review.hidden(1) && review.hidden(6) && !review.hidden(0));
    const uint64_t isolated = review.visibilityVersion();
    review.showAll();
    EXPECT_EQ(review.hiddenCount(), 0u);
    EXPECT_GT(review.visibilityVersion(), isolated);

    review.clearSelection();
    EXPECT_FALSE(review.active());
    review.setSection(Velda::AABB3(Velda::Vector3(0, 0, 0), Velda::Vector3(1, 1, 1)));
    EXPECT_TRUE(review.active() && review.sectioned());
    const uint64_t cut = review.visibilityVersion();
    review.setSection(Velda::AABB3(Velda::Vector3(0, 0, 0), Velda::Vector3(1, 1, 1)));
    EXPECT_EQ(review.visibilityVersion(), cut);
    review.clearSection();
    EXPECT_FALSE(review.active());
}

TEST(ReviewStateTest, LengthsInMetresWhenTheUnitIsKnown)
{
    const Velda::Vector3 a(0, 0, 0), b(3, 4, 0);
    const Velda::MeasuredLength metres = Velda::measureLength(a, b, 0.5f, 0.001);  // millimetre model
    EXPECT_TRUE(metres.metres);
    EXPECT_NEAR(metres.value, 0.01, 1e-9);
    EXPECT_EQ(metres.text(), "0.010 m");
    const Velda::MeasuredLength scene = Velda::measureLength(a, b, 0.5f, 0.0);
    EXPECT_FALSE(scene.metres);
    EXPECT_DOUBLE_EQ(scene.value, 5.0);
}
