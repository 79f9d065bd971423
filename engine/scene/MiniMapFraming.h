#pragma once

#include "scene/AABB3.h"
#include "scene/Camera.h"
#include "scene/Vector.h"

namespace Velda {

// The start framing that the mini map performs while the scene loads: a
// top-down orthographic map camera over the scene's box, and the live
// camera put where it sees the whole box (or, as first specified, just
// above and behind the box's centre, which stands inside a building). It
// reframes only when the box changed (or is a point).
class MiniMapFraming {
public:
    // Overview: from above one corner, the whole box in view with the live
    // camera's field of view and viewport, the pivot at the box's centre.
    // Specified: one unit above and behind the centre, the pivot on the ground.
    enum class StartView { Overview, Specified };

    // Widget size in pixels: 120 by 80 in the viewer.
    MiniMapFraming(int widgetWidth = 120, int widgetHeight = 80);

    void setStartView(StartView view) { startView_ = view; }
    StartView startView() const { return startView_; }

    // Reframes if needed, moving `liveCamera` and `pivot`; returns whether
    // it did. `worldUp` is the hub's up vector, (0, 0, 1).
    bool update(AABB3& sceneBox, Camera& liveCamera, Vector3& pivot, const Vector3& worldUp = Vector3(0, 0, 1));

    const Camera& mapCamera() const { return mapCamera_; }
    Camera& mapCamera() { return mapCamera_; }
    // Left, right, bottom, top of the map camera.
    const float* bounds() const { return bounds_; }
    // The scene centre on the ground at the last framing.
    const Vector3& origin() const { return origin_; }
    // Where the pivot marker's top-left corner goes, in widget pixels.
    void markerPosition(const Vector3& pivot, int& x, int& y) const;

    int widgetWidth() const { return widgetWidth_; }
    int widgetHeight() const { return widgetHeight_; }
    static const int kMarkerHalf = 7;

private:
    int widgetWidth_;
    int widgetHeight_;
    float bounds_[4] = {};
    AABB3 knownBox_;
    Camera mapCamera_;
    Vector3 origin_;
    StartView startView_ = StartView::Overview;
};

} // namespace Velda
