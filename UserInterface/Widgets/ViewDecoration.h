#pragma once

class QPainter;

namespace Velda {
class Camera;
}

namespace VeldaClient {

// Something drawn over the 3D picture in each frame, before the overlay's
// widgets: lines that belong to points of the scene, through the frame's
// camera.
class ViewDecoration {
public:
    virtual ~ViewDecoration() = default;
    virtual void paint(QPainter& painter, Velda::Camera& camera) = 0;
};

} // namespace VeldaClient
