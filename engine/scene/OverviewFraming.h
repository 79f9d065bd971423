#pragma once

#include "scene/AABB3.h"
#include "scene/Camera.h"

namespace Velda {

// Puts the camera above one corner of the box, looking at its centre, just
// far enough back that every corner is in the picture with the camera's
// field of view and `aspect` (width / height). The far plane grows to hold
// the box; with `ortho` the orthographic bounds frame it too.
void placeOverview(Camera& camera, const AABB3& box, float aspect, bool ortho);

} // namespace Velda
