#include "scene/Matrix4.h"

#include <cmath>
#include <cstring>

namespace Velda {

namespace {

const float kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

// Sums are accumulated in double and rounded once.
Matrix4 multiply(const Matrix4& a, const Matrix4& b)
{
    Matrix4 r;
    for (int c = 0; c < 4; ++c)
        for (int row = 0; row < 4; ++row) {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k)
                sum += static_cast<double>(a.m[4 * k + row]) * static_cast<double>(b.m[4 * c + k]);
            r.m[4 * c + row] = static_cast<float>(sum);
        }
    return r;
}

// Transposed cofactor matrix of `a` (the adjugate).
void adjugate(const float* a, float* inv)
{
    inv[0] = a[5] * a[10] * a[15] - a[5] * a[11] * a[14] - a[9] * a[6] * a[15] + a[9] * a[7] * a[14] +
             a[13] * a[6] * a[11] - a[13] * a[7] * a[10];
    inv[4] = -a[4] * a[10] * a[15] + a[4] * a[11] * a[14] + a[8] * a[6] * a[15] - a[8] * a[7] * a[14] -
             a[12] * a[6] * a[11] + a[12] * a[7] * a[10];
    inv[8] = a[4] * a[9] * a[15] - a[4] * a[11] * a[13] - a[8] * a[5] * a[15] + a[8] * a[7] * a[13] +
             a[12] * a[5] * a[11] - a[12] * a[7] * a[9];
    inv[12] = -a[4] * a[9] * a[14] + a[4] * a[10] * a[13] + a[8] * a[5] * a[14] - a[8] * a[6] * a[13] -
              a[12] * a[5] * a[10] + a[12] * a[6] * a[9];
    inv[1] = -a[1] * a[10] * a[15] + a[1] * a[11] * a[14] + a[9] * a[2] * a[15] - a[9] * a[3] * a[14] -
             a[13] * a[2] * a[11] + a[13] * a[3] * a[10];
    inv[5] = a[0] * a[10] * a[15] - a[0] * a[11] * a[14] - a[8] * a[2] * a[15] + a[8] * a[3] * a[14] +
             a[12] * a[2] * a[11] - a[12] * a[3] * a[10];
    inv[9] = -a[0] * a[9] * a[15] + a[0] * a[11] * a[13] + a[8] * a[1] * a[15] - a[8] * a[3] * a[13] -
             a[12] * a[1] * a[11] + a[12] * a[3] * a[9];
    inv[13] = a[0] * a[9] * a[14] - a[0] * a[10] * a[13] - a[8] * a[1] * a[14] + a[8] * a[2] * a[13] +
              a[12] * a[1] * a[10] - a[12] * a[2] * a[9];
    inv[2] = a[1] * a[6] * a[15] - a[1] * a[7] * a[14] - a[5] * a[2] * a[15] + a[5] * a[3] * a[14] +
             a[13] * a[2] * a[7] - a[13] * a[3] * a[6];
    inv[6] = -a[0] * a[6] * a[15] + a[0] * a[7] * a[14] + a[4] * a[2] * a[15] - a[4] * a[3] * a[14] -
             a[12] * a[2] * a[7] + a[12] * a[3] * a[6];
    inv[10] = a[0] * a[5] * a[15] - a[0] * a[7] * a[13] - a[4] * a[1] * a[15] + a[4] * a[3] * a[13] +
              a[12] * a[1] * a[7] - a[12] * a[3] * a[5];
    inv[14] = -a[0] * a[5] * a[14] + a[0] * a[6] * a[13] + a[4] * a[1] * a[14] - a[4] * a[2] * a[13] -
              a[12] * a[1] * a[6] + a[12] * a[2] * a[5];
    inv[3] = -a[1] * a[6] * a[11] + a[1] * a[7] * a[10] + a[5] * a[2] * a[11] - a[5] * a[3] * a[10] -
             a[9] * a[2] * a[7] + a[9] * a[3] * a[6];
    inv[7] = a[0] * a[6] * a[11] - a[0] * a[7] * a[10] - a[4] * a[2] * a[11] + a[4] * a[3] * a[10] +
             a[8] * a[2] * a[7] - a[8] * a[3] * a[6];
    inv[11] = -a[0] * a[5] * a[11] + a[0] * a[7] * a[9] + a[4] * a[1] * a[11] - a[4] * a[3] * a[9] -
              a[8] * a[1] * a[7] + a[8] * a[3] * a[5];
    inv[15] = a[0] * a[5] * a[10] - a[0] * a[6] * a[9] - a[4] * a[1] * a[10] + a[4] * a[2] * a[9] +
              a[8] * a[1] * a[6] - a[8] * a[2] * a[5];
}

// The determinant by the first column of the adjugate.
float determinantOf(const float* a, const float* adj)
{
    return a[0] * adj[0] + a[1] * adj[4] + a[2] * adj[8] + a[3] * adj[12];
}

} // namespace

Matrix4::Matrix4() { setIdentity(); }

Matrix4::Matrix4(float diagonal)
{
    std::memset(m, 0, sizeof m);
    m[0] = m[5] = m[10] = m[15] = diagonal;
}

Matrix4::Matrix4(const float elements[16]) { std::memcpy(m, elements, sizeof m); }

Matrix4::Matrix4(float e0, float e1, float e2, float e3, float e4, float e5, float e6, float e7, float e8, float e9,
                 float e10, float e11, float e12, float e13, float e14, float e15)
    : m{e0, e1, e2, e3, e4, e5, e6, e7, e8, e9, e10, e11, e12, e13, e14, e15}
{
}

bool Matrix4::operator==(const Matrix4& o) const
{
    for (int i = 0; i < 16; ++i)
        if (m[i] != o.m[i])
            return false;
    return true;
}

void Matrix4::setIdentity() { std::memcpy(m, kIdentity, sizeof m); }

void Matrix4::setColumn(int i, float x, float y, float z, float w)
{
    m[4 * i] = x;
    m[4 * i + 1] = y;
    m[4 * i + 2] = z;
    m[4 * i + 3] = w;
}

Vector4 Matrix4::getColumn(int i) const { return {m[4 * i], m[4 * i + 1], m[4 * i + 2], m[4 * i + 3]}; }

float Matrix4::determinant() const
{
    float adj[16];
    adjugate(m, adj);
    return determinantOf(m, adj);
}

Matrix4 Matrix4::inverse() const
{
    float adj[16];
    adjugate(m, adj);
    const float f = 1.0f / determinantOf(m, adj);
    Matrix4 r;
    for (int i = 0; i < 16; ++i)
        r.m[i] = adj[i] * f;
    return r;
}

Matrix4 Matrix4::transpose() const
{
    Matrix4 r;
    for (int c = 0; c < 4; ++c)
        for (int row = 0; row < 4; ++row)
            r.m[4 * c + row] = m[4 * row + c];
    return r;
}

void Matrix4::translate(float x, float y, float z)
{
    Matrix4 t;
    t.m[12] = x;
    t.m[13] = y;
    t.m[14] = z;
    *this = t * *this;
}

void Matrix4::rotateX(float angle)
{
    const float c = std::cos(angle), s = std::sin(angle);
    Matrix4 r;
    r.m[5] = c;
    r.m[6] = s;
    r.m[9] = -s;
    r.m[10] = c;
    *this = r * *this;
}

void Matrix4::rotateY(float angle)
{
    const float c = std::cos(angle), s = std::sin(angle);
    Matrix4 r;
    r.m[0] = c;
    r.m[2] = -s;
    r.m[8] = s;
    r.m[10] = c;
    *this = r * *this;
}

void Matrix4::rotateZ(float angle)
{
    const float c = std::cos(angle), s = std::sin(angle);
    Matrix4 r;
    r.m[0] = c;
    r.m[1] = s;
    r.m[4] = -s;
    r.m[5] = c;
    *this = r * *this;
}

void Matrix4::rotate(const Vector3& point, const Vector3& axis, float angle)
{
    const Vector3 n = axis.normalized();
    const float u = n.x, v = n.y, w = n.z;
    const float px = point.x, py = point.y, pz = point.z;
    const float c = std::cos(angle), s = std::sin(angle), t = 1.0f - c;
    const float uu = u * u, vv = v * v, ww = w * w;
    Matrix4 r;
    r.setColumn(0, uu + (vv + ww) * c, u * v * t + w * s, u * w * t - v * s, 0.0f);
    r.setColumn(1, u * v * t - w * s, vv + (uu + ww) * c, v * w * t + u * s, 0.0f);
    r.setColumn(2, u * w * t + v * s, v * w * t - u * s, ww + (uu + vv) * c, 0.0f);
    r.setColumn(3, (px * (vv + ww) - u * (py * v + pz * w)) * t + (py * w - pz * v) * s,
                (py * (uu + ww) - v * (px * u + pz * w)) * t + (pz * u - px * w) * s,
                (pz * (uu + vv) - w * (px * u + py * v)) * t + (px * v - py * u) * s, 1.0f);
    *this = r * *this;
}

void Matrix4::scale(float x, float y, float z)
{
    Matrix4 sm;
    sm.m[0] = x;
    sm.m[5] = y;
    sm.m[10] = z;
    *this = sm * *this;
}

Matrix4& Matrix4::operator*=(const Matrix4& right)
{
    *this = multiply(*this, right);
    return *this;
}

Matrix4 Matrix4::operator*(const Matrix4& right) const { return multiply(*this, right); }

Matrix4 Matrix4::operator+(const Matrix4& right) const
{
    Matrix4 r;
    for (int i = 0; i < 16; ++i)
        r.m[i] = m[i] + right.m[i];
    return r;
}

Vector4 Matrix4::transformVector4(const Vector4& v) const
{
    const float in[4] = {v.x, v.y, v.z, v.w};
    float out[4];
    for (int row = 0; row < 4; ++row) {
        double sum = 0.0;
        for (int k = 0; k < 4; ++k)
            sum += static_cast<double>(m[4 * k + row]) * static_cast<double>(in[k]);
        out[row] = static_cast<float>(sum);
    }
    return {out[0], out[1], out[2], out[3]};
}

Vector3 Matrix4::transformPoint(const Vector3& p) const
{
    const Vector4 r = transformVector4({p.x, p.y, p.z, 1.0f});
    return {r.x / r.w, r.y / r.w, r.z / r.w};
}

Matrix4 Matrix4::perspective(float fovy, float aspect, float nearPlane, float farPlane)
{
    const float f = std::cos(fovy / 2.0f) / std::sin(fovy / 2.0f);
    Matrix4 r(0.0f);
    r.m[0] = f / aspect;
    r.m[5] = f;
    r.m[10] = -(farPlane + nearPlane) / (farPlane - nearPlane);
    r.m[11] = -1.0f;
    r.m[14] = -2.0f * farPlane * nearPlane / (farPlane - nearPlane);
    return r;
}

Matrix4 Matrix4::orthographic(float left, float right, float bottom, float top, float nearPlane, float farPlane)
{
    Matrix4 r(0.0f);
    r.m[0] = 2.0f / (right - left);
    r.m[5] = 2.0f / (top - bottom);
    r.m[10] = -2.0f / (farPlane - nearPlane);
    r.m[12] = -(right + left) / (right - left);
    r.m[13] = -(top + bottom) / (top - bottom);
    r.m[14] = -(farPlane + nearPlane) / (farPlane - nearPlane);
    r.m[15] = 1.0f;
    return r;
}

void inverse3x3(const float in[9], float out[9])
{
    // Element 3c + r is row r of column c.
    const float a = in[0], b = in[3], c = in[6];
    const float d = in[1], e = in[4], f = in[7];
    const float g = in[2], h = in[5], i = in[8];
    const float A = e * i - f * h, B = -(d * i - f * g), C = d * h - e * g;
    const float det = a * A + b * B + c * C;
    const float k = 1.0f / det;
    // Row-major adjugate (transpose of the cofactors), written back by column.
    const float r00 = A, r01 = -(b * i - c * h), r02 = b * f - c * e;
    const float r10 = B, r11 = a * i - c * g, r12 = -(a * f - c * d);
    const float r20 = C, r21 = -(a * h - b * g), r22 = a * e - b * d;
    out[0] = r00 * k; out[3] = r01 * k; out[6] = r02 * k;
    out[1] = r10 * k; out[4] = r11 * k; out[7] = r12 * k;
    out[2] = r20 * k; out[5] = r21 * k; out[8] = r22 * k;
}

void transpose3x3(const float in[9], float out[9])
{
    float t[9];
    for (int c = 0; c < 3; ++c)
        for (int r = 0; r < 3; ++r)
            t[3 * c + r] = in[3 * r + c];
    std::memcpy(out, t, sizeof t);
}

} // namespace Velda
