#include "scene/Vector.h"

#include <cmath>

namespace Velda {

namespace {
// 1 / sqrt(squared length) in single precision; 0 for a zero vector.
float inverseLength(float squared)
{
    return squared <= 0.0f ? 0.0f : 1.0f / std::sqrt(squared);
}
} // namespace

float Vector2::length() const { return std::sqrt(lengthSquared()); }
float Vector3::length() const { return std::sqrt(lengthSquared()); }
float Vector4::length() const { return std::sqrt(lengthSquared()); }

Vector2 Vector2::normalized() const { return *this * inverseLength(lengthSquared()); }
Vector3 Vector3::normalized() const { return *this * inverseLength(lengthSquared()); }
Vector4 Vector4::normalized() const { return *this * inverseLength(lengthSquared()); }

float Vector2::angle(const Vector2& o) const
{
    // Clamped: rounding can push the cosine of parallel vectors past 1.
    const float c = normalized().dot(o.normalized());
    return std::acos(c > 1.0f ? 1.0f : (c < -1.0f ? -1.0f : c));
}

Vector4 Vector4::cross(const Vector4& o) const
{
    const Vector3 a(x / w, y / w, z / w);
    const Vector3 b(o.x / o.w, o.y / o.w, o.z / o.w);
    const Vector3 c = a.cross(b);
    return {c.x, c.y, c.z, 1.0f};
}

} // namespace Velda
