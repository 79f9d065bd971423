#pragma once

#include "scene/Matrix4.h"

namespace Velda {

class AABB3;

// The clip volume of a view-projection matrix, for skipping what the
// driver would clip anyway: a box is outside when all eight corners lie
// beyond one side of the volume in clip space, which holds for corners
// behind the eye too.
class Frustum {
public:
    explicit Frustum(const Matrix4& viewProjection) : matrix_(viewProjection) {}

    // Boxes with a minimum above their maximum, or of no extent at all
    // (bounds never set), are never outside. `pad` grows the box by that fraction of its diagonal.
    bool outside(const AABB3& box, float pad = 0.01f) const;

private:
    Matrix4 matrix_;
};

} // namespace Velda
