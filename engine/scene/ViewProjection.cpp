#include "scene/ViewProjection.h"

#include "scene/Camera.h"

namespace Velda {

bool projectToView(Camera& camera, const Vector3& point, float& x, float& y)
{
    const Matrix4 viewProjection = camera.getProjection() * camera.getInverseTransform();
    const Vector4 clip = viewProjection.transformVector4(Vector4(point.x, point.y, point.z, 1.0f));
    if (clip.w <= 1e-6f)
        return false;
    const Vector4& viewport = camera.getViewport();
    x = (clip.x / clip.w * 0.5f + 0.5f) * viewport.z;
    y = (0.5f - clip.y / clip.w * 0.5f) * viewport.w;
    return true;
}

} // namespace Velda
