#pragma once

#include "scene/Vector.h"

namespace Velda {

class Camera;

// Where a point of the scene falls in a camera's view, pixels from the top
// left of its viewport; false when it lies behind the eye (x and y are then
// left alone).
bool projectToView(Camera& camera, const Vector3& point, float& x, float& y);

} // namespace Velda
