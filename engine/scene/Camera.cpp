#include "scene/Camera.h"

#include <stdexcept>

namespace Velda {

Camera::Camera() = default;

void Camera::setNear(float v)
{
    near_ = v;
    projectionDirty_ = true;
}

void Camera::setFar(float v)
{
    far_ = v;
    projectionDirty_ = true;
}

void Camera::setFov(float v)
{
    fov_ = v;
    projectionDirty_ = true;
}

void Camera::setViewport(const Vector4& v)
{
    viewport_ = v;
    projectionDirty_ = true;
}

void Camera::setViewport(float x, float y, float width, float height) { setViewport(Vector4(x, y, width, height)); }

void Camera::setOrthoBounds(const Vector4& v)
{
    orthoBounds_ = v;
    projectionDirty_ = true;
}

void Camera::setOrthoBounds(float left, float right, float bottom, float top)
{
    setOrthoBounds(Vector4(left, right, bottom, top));
}

void Camera::setProjectionType(int32_t type)
{
    projectionType_ = type;
    projectionDirty_ = true;
}

Matrix4& Camera::getProjection()
{
    if (!projectionDirty_)
        return projection_;
    if (projectionType_ == kPerspective)
        projection_ = Matrix4::perspective(fov_, viewport_.z / viewport_.w, near_, far_);
    else if (projectionType_ == kOrthographic)
        projection_ = Matrix4::orthographic(orthoBounds_.x, orthoBounds_.y, orthoBounds_.z, orthoBounds_.w, near_,
                                            far_);
    else
        throw std::runtime_error("Can not find proper Projection Type!");
    projectionDirty_ = false;
    return projection_;
}

void Camera::lookAt(const Vector3& target, const Vector3& up)
{
    const Vector3 position = getPosition();
    const Vector3 forward = (position - target).normalized();
    const Vector3 right = up.cross(forward).normalized();
    const Vector3 upward = forward.cross(right).normalized();
    transform_.setColumn(0, right.x, right.y, right.z, 0.0f);
    transform_.setColumn(1, upward.x, upward.y, upward.z, 0.0f);
    transform_.setColumn(2, forward.x, forward.y, forward.z, 0.0f);
}

bool Camera::hasChanged()
{
    if (projectionDirty_ || inverseDirty_ || normalDirty_ || positionDirty_) {
        changed_ = false;
        return true;
    }
    return changed_;
}

} // namespace Velda
