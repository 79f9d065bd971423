#include "scene/AABB3.h"
#include "scene/Matrix4.h"
#include "scene/Vector.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Velda;

namespace {
const float kPi = 3.14159265f;

void expectNear(const Vector3& a, const Vector3& b)
{
    EXPECT_NEAR(a.x, b.x, 1e-5f);
    EXPECT_NEAR(a.y, b.y, 1e-5f);
    EXPECT_NEAR(a.z, b.z, 1e-5f);
}

void expectNear(const Matrix4& a, const Matrix4& b, float tolerance = 1e-5f)
{
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(a.m[i], b.m[i], tolerance) << "element " << i;
}
} // namespace

TEST(Math, Vectors)
{
    EXPECT_EQ(Vector3().normalized(), Vector3());
    EXPECT_EQ(Vector2().normalized(), Vector2());
    expectNear(Vector3(3, 0, 4).normalized(), Vector3(0.6f, 0, 0.8f));
    EXPECT_EQ(Vector3(1, 0, 0).cross(Vector3(0, 1, 0)), Vector3(0, 0, 1));
    EXPECT_NEAR(Vector2(1, 0).angle(Vector2(0, 5)), kPi / 2, 1e-6f);
    EXPECT_NEAR(Vector2(2, 2).angle(Vector2(1, 1)), 0.0f, 1e-3f);
    // w divides first, the result has w 1.
    const Vector4 c = Vector4(2, 0, 0, 2).cross(Vector4(0, 3, 0, 3));
    EXPECT_EQ(c, Vector4(0, 0, 1, 1));
    EXPECT_NE(Vector3(1, 2, 3), Vector3(1, 2, 3.0001f));
    EXPECT_FLOAT_EQ(Vector4(1, 2, 2, 4).length(), 5.0f);
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

    Matrix4 x;
    x.rotateX(kPi / 2);
    expectNear(x.transformPoint({0, 1, 0}), {0, 0, 1});
    Matrix4 y;
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
    EXPECT_EQ((t + t).m[12], 2.0f);
    EXPECT_EQ(t.getColumn(3), Vector4(1, 2, 3, 1));
    EXPECT_EQ(t.transpose().m[3], 1.0f);
}

TEST(Math, InverseAndDeterminant)
{
    Matrix4 m;
    m.rotate({0, 0, 0}, {1, 2, 3}, 0.7f);
    m.scale(2, 3, 4);
    m.translate(-1, 5, 2);
    EXPECT_NEAR(m.determinant(), 24.0f, 1e-3f);
    expectNear(m * m.inverse(), Matrix4(), 1e-5f);

    const float n[9] = {2, 0, 0, 1, 3, 0, 0, 0, 4};
    float inv[9], back[9];
    inverse3x3(n, inv);
    inverse3x3(inv, back);
    for (int i = 0; i < 9; ++i)
        EXPECT_NEAR(back[i], n[i], 1e-5f);
    float t[9];
    transpose3x3(n, t);
    EXPECT_EQ(t[1], 1.0f);
    EXPECT_EQ(t[3], 0.0f);
    EXPECT_EQ(t[1 * 3 + 0], n[0 * 3 + 1]);
}

TEST(Math, ProjectionsAndUncheckedDivisions)
{
    const Matrix4 p = Matrix4::perspective(kPi / 2, 2.0f, 1.0f, 3.0f);
    EXPECT_NEAR(p.m[0], 0.5f, 1e-6f);
    EXPECT_NEAR(p.m[5], 1.0f, 1e-6f);
    EXPECT_FLOAT_EQ(p.m[10], -2.0f);
    EXPECT_EQ(p.m[11], -1.0f);
    EXPECT_FLOAT_EQ(p.m[14], -3.0f);
    EXPECT_EQ(p.m[15], 0.0f);
    EXPECT_TRUE(std::isinf(Matrix4::perspective(1, 1, 2, 2).m[10]));

    const Matrix4 o = Matrix4::orthographic(-2, 2, -1, 1, 0, 10);
    EXPECT_FLOAT_EQ(o.m[0], 0.5f);
    EXPECT_FLOAT_EQ(o.m[5], 1.0f);
    EXPECT_FLOAT_EQ(o.m[10], -0.2f);
    EXPECT_FLOAT_EQ(o.m[14], -1.0f);
    EXPECT_EQ(o.m[15], 1.0f);

    // translate on a projection weighs the translation by its w row.
    Matrix4 q = p;
    q.translate(1, 0, 0);
    EXPECT_FLOAT_EQ(q.m[8], p.m[8] + 1.0f * p.m[11]);
    EXPECT_FLOAT_EQ(q.m[12], p.m[12] + 1.0f * p.m[15]);

    const Vector3 atInfinity = Matrix4(0.0f).transformPoint({1, 1, 1});
    EXPECT_TRUE(std::isnan(atInfinity.x));
}

TEST(Math, BoxesAndTheirLabel)
{
    AABB3 box;
    EXPECT_EQ(box.getLabel(), "0-0-0-0-0-0");
    EXPECT_FALSE(box.isLabelDirty());
    box.extend(Vector3(1, -2, 0.00005f));
    EXPECT_TRUE(box.isLabelDirty());
    EXPECT_EQ(box.getLabel(), "1.000-0-0-0--2.000-0");  // maximum first
    const std::string* cached = &box.getLabel();
    EXPECT_EQ(cached, &box.getLabel());
    EXPECT_FALSE(box.isLabelDirty());

    box.resetEmpty();
    box.extend(Vector3(3, 3, 3));
    EXPECT_EQ(box.getMin(), box.getMax());
    box.reset();
    EXPECT_EQ(box.getMax(), Vector3());

    const AABB3 a({0, 0, 0}, {2, 2, 2});
    const AABB3 touching({2, 0, 0}, {3, 1, 1});
    AABB3 overlap;
    EXPECT_TRUE(a.intersects(touching, &overlap));
    EXPECT_EQ(overlap.getMin(), Vector3(2, 0, 0));
    EXPECT_EQ(overlap.getMax(), Vector3(2, 1, 1));
    EXPECT_FALSE(a.intersects(AABB3({2.1f, 0, 0}, {3, 1, 1})));
    EXPECT_TRUE(a.contains({2, 2, 2}));
    EXPECT_FALSE(a.contains({2, 2, 2.001f}));
}
