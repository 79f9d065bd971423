#pragma once

#include "scene/Vector.h"

namespace Velda {

// Sixteen floats, columns contiguous (element 4c + r is row r of column c),
// translation in elements 12 to 14, vectors are columns: p' = M p. Every
// change applies on the left, in world axes: translate, rotate and scale make
// M = X M, so scale also scales the translation.
class Matrix4 {
public:
    float m[16];

    Matrix4();                     // identity
    explicit Matrix4(float diagonal);
    explicit Matrix4(const float elements[16]);
    Matrix4(float e0, float e1, float e2, float e3, float e4, float e5, float e6, float e7, float e8, float e9,
            float e10, float e11, float e12, float e13, float e14, float e15);
    virtual ~Matrix4() = default;
    Matrix4(const Matrix4&) = default;
    Matrix4& operator=(const Matrix4&) = default;

    float& operator[](int i) { return m[i]; }
    float operator[](int i) const { return m[i]; }
    bool operator==(const Matrix4& o) const;
    bool operator!=(const Matrix4& o) const { return !(*this == o); }

    void setIdentity();
    void setColumn(int i, float x, float y, float z, float w);
    Vector4 getColumn(int i) const;

    float determinant() const;
    // Cofactor inverse; a singular matrix gives non-finite elements.
    Matrix4 inverse() const;
    Matrix4 transpose() const;

    void translate(float x, float y, float z);
    void rotateX(float angle);
    void rotateY(float angle);
    void rotateZ(float angle);
    // Rotation by `angle` about the line through `point` along `axis`
    // (normalised first), counter-clockwise seen from the positive axis.
    void rotate(const Vector3& point, const Vector3& axis, float angle);
    void scale(float x, float y, float z);

    Matrix4& operator*=(const Matrix4& right);  // M = M R
    Matrix4 operator*(const Matrix4& right) const;
    Matrix4 operator+(const Matrix4& right) const;

    // M (p, 1), divided by w without a check.
    Vector3 transformPoint(const Vector3& p) const;
    Vector4 transformVector4(const Vector4& v) const;

    static Matrix4 perspective(float fovy, float aspect, float nearPlane, float farPlane);
    static Matrix4 orthographic(float left, float right, float bottom, float top, float nearPlane, float farPlane);
};

// 3 by 3 helpers on nine floats, columns contiguous like Matrix4.
void inverse3x3(const float in[9], float out[9]);
void transpose3x3(const float in[9], float out[9]);

} // namespace Velda
