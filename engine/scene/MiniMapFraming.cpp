#include "scene/MiniMapFraming.h"

#include "scene/OverviewFraming.h"

namespace Velda {

MiniMapFraming::MiniMapFraming(int widgetWidth, int widgetHeight)
    : widgetWidth_(widgetWidth), widgetHeight_(widgetHeight)
{
}

bool MiniMapFraming::update(AABB3& sceneBox, Camera& liveCamera, Vector3& pivot, const Vector3& worldUp)
{
    const Vector3 min = sceneBox.getMin();
    const Vector3 max = sceneBox.getMax();
    const bool changed = min != knownBox_.getMin() || max != knownBox_.getMax();
    if (!changed && min != max)
        return false;

    const Vector3 c = (min + max) / 2.0f;
    Camera camera;
    camera.rotateZ(3.1415925f);  // map x runs against world x
    camera.setPosition(c.x, c.y, (max - min).length() * 0.5f);
    camera.setViewport(0.0f, 0.0f, static_cast<float>(widgetWidth_ * 2), static_cast<float>(widgetHeight_ * 2));
    const float sx = max.x - min.x;
    const float sy = max.y - min.y;
    const float a = static_cast<float>(widgetHeight_) / static_cast<float>(widgetWidth_);
    float height = a * sx;
    float width = sx;
    if (height <= sy) {
        width = sy / a;
        height = sy;
    }
    bounds_[0] = -width * 0.5f;
    bounds_[1] = width * 0.5f;
    bounds_[2] = -height * 0.5f;
    bounds_[3] = height * 0.5f;
    camera.setOrthoBounds(bounds_[0], bounds_[1], bounds_[2], bounds_[3]);
    camera.setNear(0.1f);
    camera.setFar(1000.0f);
    camera.setProjectionType(Camera::kOrthographic);

    origin_ = Vector3(c.x, c.y, 0.0f);
    // An empty scene's box is a point: nothing to stand back from yet.
    if (startView_ == StartView::Overview && min != max) {
        const Vector4& viewport = liveCamera.getViewport();
        const float aspect = viewport.z > 0.0f && viewport.w > 0.0f ? viewport.z / viewport.w : 1024.0f / 700.0f;
        placeOverview(liveCamera, sceneBox, aspect, false);
        pivot = c;
    } else {
        const Vector3 eye(c.x, c.y + 1.0f, c.z + 1.0f);
        liveCamera.setPosition(eye);
        liveCamera.lookAt(origin_, worldUp);
        liveCamera.setPosition(eye);  // marks the view stale after the turn
        pivot = origin_;
    }
    mapCamera_ = camera;
    knownBox_ = sceneBox;
    return true;
}

void MiniMapFraming::markerPosition(const Vector3& pivot, int& x, int& y) const
{
    const Vector3 q = pivot - origin_;
    const float left = bounds_[0], right = bounds_[1], bottom = bounds_[2], top = bounds_[3];
    // Mirrored in x: the map camera is turned by pi.
    x = static_cast<int>((1.0f - (q.x - left) / (right - left)) * static_cast<float>(widgetWidth_) - kMarkerHalf);
    y = static_cast<int>((q.y - bottom) / (top - bottom) * static_cast<float>(widgetHeight_) - kMarkerHalf);
}

} // namespace Velda
