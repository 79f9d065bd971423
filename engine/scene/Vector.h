#pragma once

namespace Velda {

// Plain single-precision vectors. Equality is exact.

struct Vector2 {
    float x = 0.0f, y = 0.0f;

    Vector2() = default;
    Vector2(float x_, float y_) : x(x_), y(y_) {}

    Vector2 operator+(const Vector2& o) const { return {x + o.x, y + o.y}; }
    Vector2 operator-(const Vector2& o) const { return {x - o.x, y - o.y}; }
    Vector2 operator*(const Vector2& o) const { return {x * o.x, y * o.y}; }
    Vector2 operator/(const Vector2& o) const { return {x / o.x, y / o.y}; }
    Vector2 operator*(float s) const { return {x * s, y * s}; }
    Vector2 operator/(float s) const { return {x / s, y / s}; }
    Vector2& operator+=(const Vector2& o) { return *this = *this + o; }
    Vector2& operator-=(const Vector2& o) { return *this = *this - o; }
    Vector2& operator*=(const Vector2& o) { return *this = *this * o; }
    Vector2& operator/=(const Vector2& o) { return *this = *this / o; }
    Vector2& operator*=(float s) { return *this = *this * s; }
    Vector2& operator/=(float s) { return *this = *this / s; }
    bool operator==(const Vector2& o) const { return x == o.x && y == o.y; }
    bool operator!=(const Vector2& o) const { return !(*this == o); }

    float dot(const Vector2& o) const { return x * o.x + y * o.y; }
    float lengthSquared() const { return dot(*this); }
    float length() const;
    Vector2 normalized() const;
    // Angle between the two directions; a zero vector counts as zero.
    float angle(const Vector2& o) const;
};

struct Vector3 {
    float x = 0.0f, y = 0.0f, z = 0.0f;

    Vector3() = default;
    Vector3(float x_, float y_, float z_) : x(x_), y(y_), z(z_) {}

    Vector3 operator+(const Vector3& o) const { return {x + o.x, y + o.y, z + o.z}; }
    Vector3 operator-(const Vector3& o) const { return {x - o.x, y - o.y, z - o.z}; }
    Vector3 operator*(const Vector3& o) const { return {x * o.x, y * o.y, z * o.z}; }
    Vector3 operator/(const Vector3& o) const { return {x / o.x, y / o.y, z / o.z}; }
    Vector3 operator*(float s) const { return {x * s, y * s, z * s}; }
    Vector3 operator/(float s) const { return {x / s, y / s, z / s}; }
    Vector3 operator-() const { return {-x, -y, -z}; }
    Vector3& operator+=(const Vector3& o) { return *this = *this + o; }
    Vector3& operator-=(const Vector3& o) { return *this = *this - o; }
    Vector3& operator*=(const Vector3& o) { return *this = *this * o; }
    Vector3& operator/=(const Vector3& o) { return *this = *this / o; }
    Vector3& operator*=(float s) { return *this = *this * s; }
    Vector3& operator/=(float s) { return *this = *this / s; }
    bool operator==(const Vector3& o) const { return x == o.x && y == o.y && z == o.z; }
    bool operator!=(const Vector3& o) const { return !(*this == o); }

    // A component by its axis: 0 x, 1 y, 2 z.
    float at(int axis) const { return axis == 0 ? x : axis == 1 ? y : z; }
    float& at(int axis) { return axis == 0 ? x : axis == 1 ? y : z; }

    float dot(const Vector3& o) const { return x * o.x + y * o.y + z * o.z; }
    Vector3 cross(const Vector3& o) const { return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x}; }
    float lengthSquared() const { return dot(*this); }
    float length() const;
    Vector3 normalized() const;
};

struct Vector4 {
    float x = 0.0f, y = 0.0f, z = 0.0f, w = 0.0f;

    Vector4() = default;
    Vector4(float x_, float y_, float z_, float w_) : x(x_), y(y_), z(z_), w(w_) {}

    Vector4 operator+(const Vector4& o) const { return {x + o.x, y + o.y, z + o.z, w + o.w}; }
    Vector4 operator-(const Vector4& o) const { return {x - o.x, y - o.y, z - o.z, w - o.w}; }
    Vector4 operator*(const Vector4& o) const { return {x * o.x, y * o.y, z * o.z, w * o.w}; }
    Vector4 operator/(const Vector4& o) const { return {x / o.x, y / o.y, z / o.z, w / o.w}; }
    Vector4 operator*(float s) const { return {x * s, y * s, z * s, w * s}; }
    Vector4 operator/(float s) const { return {x / s, y / s, z / s, w / s}; }
    Vector4& operator+=(const Vector4& o) { return *this = *this + o; }
    Vector4& operator-=(const Vector4& o) { return *this = *this - o; }
    Vector4& operator*=(const Vector4& o) { return *this = *this * o; }
    Vector4& operator/=(const Vector4& o) { return *this = *this / o; }
    Vector4& operator*=(float s) { return *this = *this * s; }
    Vector4& operator/=(float s) { return *this = *this / s; }
    bool operator==(const Vector4& o) const { return x == o.x && y == o.y && z == o.z && w == o.w; }
    bool operator!=(const Vector4& o) const { return !(*this == o); }

    float dot(const Vector4& o) const { return x * o.x + y * o.y + z * o.z + w * o.w; }
    float lengthSquared() const { return dot(*this); }
    float length() const;
    Vector4 normalized() const;
    // Divides x, y, z of each by its own w, crosses the results, w = 1.
    Vector4 cross(const Vector4& o) const;
};

} // namespace Velda
