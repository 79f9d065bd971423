#pragma once

#include "scene/AABB3.h"
#include "scene/Matrix4.h"
#include "scene/Vector.h"

#include <string>
#include <vector>

namespace Velda {

struct RenderItem;
using RenderList = std::vector<RenderItem*>;

// A placed thing of the flat scene: its transform is its world transform.
// Inverse, normal matrix and position are cached; every change of the
// transform marks all three stale.
class Object3D {
public:
    Object3D() = default;
    Object3D(const Object3D&) = default;
    Object3D& operator=(const Object3D&) = default;

    virtual ~Object3D() = default;
    virtual std::string getName() const;
    virtual void setName(const std::string& name);
    virtual bool setTransform(const Matrix4& transform);
    virtual Matrix4& getTransform();
    virtual Matrix4& getInverseTransform();
    virtual Matrix4& getNormalMatrix();
    virtual bool setPosition(const Vector3& position);
    virtual bool setPosition(float x, float y, float z);
    virtual Vector3& getPosition();
    virtual bool setWorldPosition(const Vector3& position);  // the same as setPosition: the scene is flat
    virtual bool setWorldPosition(float x, float y, float z);
    virtual Vector3& getWorldPosition();
    virtual bool translate(const Vector3& offset);
    virtual bool translate(float x, float y, float z);
    virtual bool rotateX(float angle);
    virtual bool rotateY(float angle);
    virtual bool rotateZ(float angle);
    virtual bool rotate(const Vector3& axis, float angle);
    virtual bool rotate(float x, float y, float z, float angle);
    virtual bool scale(const Vector3& factors);
    virtual bool scale(float x, float y, float z);
    virtual void collectRenderItems(RenderList& list);
    virtual bool setCastShadow(bool cast);
    virtual bool getCastShadow() const;
    virtual Vector3& setAxis(const Vector3& axis);
    virtual void getAxis(Vector3& out) const;
    virtual void setBox(const AABB3& box);
    virtual AABB3& getBox();

    bool isInverseDirty() const { return inverseDirty_; }
    bool isNormalDirty() const { return normalDirty_; }
    bool isPositionDirty() const { return positionDirty_; }

protected:
    void markTransformChanged();
    // Applies a change to the transform and marks every cache stale.
    template <typename Change>
    bool changeTransform(Change change)
    {
        change(transform_);
        markTransformChanged();
        return true;
    }

    std::string name_;
    Matrix4 transform_;
    Matrix4 inverseTransform_;
    bool inverseDirty_ = false;
    Matrix4 normalMatrix_;
    bool normalDirty_ = false;
    Vector3 position_;
    bool positionDirty_ = false;
    bool castShadow_ = true;
    Vector3 axis_;
    AABB3 box_;
};

} // namespace Velda
