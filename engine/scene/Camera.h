#pragma once

#include <cstdint>

#include "scene/Matrix4.h"
#include "scene/Object3D.h"
#include "scene/Vector.h"

namespace Velda {

// The transform is camera-to-world; the view matrix is getInverseTransform.
// A plain value: copies are deep, flags included.
class Camera : public Object3D {
public:
    enum ProjectionType : int32_t { kPerspective = 0, kOrthographic = 1 };

    Camera();
    Camera(const Camera&) = default;
    Camera& operator=(const Camera&) = default;
    ~Camera() override = default;

    float getNear() const { return near_; }
    void setNear(float v);
    float getFar() const { return far_; }
    void setFar(float v);
    float getFov() const { return fov_; }
    void setFov(float v);
    const Vector4& getViewport() const { return viewport_; }  // x, y, width, height
    void setViewport(const Vector4& v);
    void setViewport(float x, float y, float width, float height);
    const Vector4& getOrthoBounds() const { return orthoBounds_; }  // left, right, bottom, top
    void setOrthoBounds(const Vector4& v);
    void setOrthoBounds(float left, float right, float bottom, float top);
    int32_t getProjectionType() const { return projectionType_; }
    void setProjectionType(int32_t type);
    bool isProjectionDirty() const { return projectionDirty_; }

    const Matrix4& getViewProjection() const { return viewProjection_; }
    void setViewProjection(const Matrix4& m) { viewProjection_ = m; }
    const Vector4& getClearColor() const { return clearColor_; }
    void setClearColor(const Vector4& c) { clearColor_ = c; }
    void setClearColor(float r, float g, float b, float a) { clearColor_ = {r, g, b, a}; }
    bool getChanged() const { return changed_; }
    void setChanged(bool c) { changed_ = c; }

    // Rebuilt only when stale. Throws std::runtime_error("Can not find proper
    // Projection Type!") for a type other than 0 or 1 when it must rebuild.
    Matrix4& getProjection();

    // Points the camera's -z at `target`; the translation stays. Marks nothing
    // stale: callers follow it with an operation that does (setPosition).
    void lookAt(const Vector3& target, const Vector3& up);

    // True while any cache is stale (and then `changed` is cleared);
    // otherwise the `changed` field as it stands.
    bool hasChanged();

private:
    float near_ = 15.0f;   // deliberately the wrong way round: every user sets both
    float far_ = 0.01f;
    float fov_ = 1.0471975f;
    Vector4 viewport_;
    Vector4 orthoBounds_;
    int32_t projectionType_ = kPerspective;
    Matrix4 projection_;
    bool projectionDirty_ = true;
    Matrix4 viewProjection_;
    Vector4 clearColor_{0.5254902f, 0.7372549f, 0.98039216f, 1.0f};
    bool changed_ = false;
};

} // namespace Velda
