#pragma once

#include "scene/Object3D.h"

namespace Velda {

class Camera;

// The sky: a drawable that follows the camera so it keeps its distance.
// Surfaces and render items arrive with the sky's mesh and material assets.
class SenceBackGround : public Object3D {
public:
    ~SenceBackGround() override = default;

    void setCamera(Camera* camera) { camera_ = camera; }
    Camera* getCamera() const { return camera_; }

private:
    Camera* camera_ = nullptr;  // not owned
};

} // namespace Velda
