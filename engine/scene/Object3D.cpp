#include "scene/Object3D.h"

namespace Velda {

void Object3D::markTransformChanged()
{
    inverseDirty_ = normalDirty_ = positionDirty_ = true;
}

std::string Object3D::getName() const { return name_; }

void Object3D::setName(const std::string& name) { name_ = name; }

bool Object3D::setTransform(const Matrix4& transform)
{
    transform_ = transform;
    markTransformChanged();
    return true;
}

Matrix4& Object3D::getTransform() { return transform_; }

Matrix4& Object3D::getInverseTransform()
{
    if (inverseDirty_) {
        inverseTransform_ = transform_.inverse();
        inverseDirty_ = false;
    }
    return inverseTransform_;
}

Matrix4& Object3D::getNormalMatrix()
{
    if (normalDirty_) {
        const float* t = transform_.m;
        const float upper[9] = {t[0], t[1], t[2], t[4], t[5], t[6], t[8], t[9], t[10]};
        float inverted[9];
        float n[9];
        inverse3x3(upper, inverted);
        transpose3x3(inverted, n);
        normalMatrix_.setIdentity();
        for (int c = 0; c < 3; ++c)
            for (int r = 0; r < 3; ++r)
                normalMatrix_.m[4 * c + r] = n[3 * c + r];
        normalDirty_ = false;
    }
    return normalMatrix_;
}

bool Object3D::setPosition(const Vector3& p) { return setPosition(p.x, p.y, p.z); }

bool Object3D::setPosition(float x, float y, float z)
{
    transform_.m[12] = x;
    transform_.m[13] = y;
    transform_.m[14] = z;
    markTransformChanged();
    return true;
}

Vector3& Object3D::getPosition()
{
    if (positionDirty_) {
        position_ = {transform_.m[12], transform_.m[13], transform_.m[14]};
        positionDirty_ = false;
    }
    return position_;
}

bool Object3D::setWorldPosition(const Vector3& p) { return setPosition(p.x, p.y, p.z); }

bool Object3D::setWorldPosition(float x, float y, float z) { return setPosition(x, y, z); }

Vector3& Object3D::getWorldPosition() { return getPosition(); }

bool Object3D::translate(const Vector3& o) { return translate(o.x, o.y, o.z); }

bool Object3D::translate(float x, float y, float z)
{
    return changeTransform([=](Matrix4& m) { m.translate(x, y, z); });
}

bool Object3D::rotateX(float angle)
{
    return changeTransform([angle](Matrix4& m) { m.rotateX(angle); });
}

bool Object3D::rotateY(float angle)
{
    return changeTransform([angle](Matrix4& m) { m.rotateY(angle); });
}

bool Object3D::rotateZ(float angle)
{
    return changeTransform([angle](Matrix4& m) { m.rotateZ(angle); });
}

bool Object3D::rotate(const Vector3& axis, float angle)
{
    return changeTransform([&](Matrix4& m) { m.rotate(Vector3(), axis, angle); });
}

bool Object3D::rotate(float x, float y, float z, float angle) { return rotate(Vector3(x, y, z), angle); }

bool Object3D::scale(const Vector3& f) { return scale(f.x, f.y, f.z); }

bool Object3D::scale(float x, float y, float z)
{
    return changeTransform([=](Matrix4& m) { m.scale(x, y, z); });
}

void Object3D::collectRenderItems(RenderList&) {}

bool Object3D::setCastShadow(bool cast)
{
    castShadow_ = cast;
    return cast;
}

bool Object3D::getCastShadow() const { return castShadow_; }

Vector3& Object3D::setAxis(const Vector3& axis)
{
    axis_ = axis;
    return axis_;
}

void Object3D::getAxis(Vector3& out) const { out = axis_; }

void Object3D::setBox(const AABB3& box) { box_ = box; }

AABB3& Object3D::getBox() { return box_; }

} // namespace Velda
