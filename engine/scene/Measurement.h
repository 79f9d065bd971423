#pragma once

#include "scene/Vector.h"

#include <string>

namespace Velda {

// A distance between two points of the scene as the user reads it: in the
// model's metres when the project says what its unit is, otherwise in
// scene units. The scene is the model scaled by `sceneScale` about its
// origin; `metresPerUnit` turns model units into metres (0: unknown).
struct MeasuredLength {
    double value = 0.0;
    bool metres = false;

    // "3.250 m", or "0.412" with the scene's unit named.
    std::string text() const;
};

MeasuredLength measureLength(const Vector3& from, const Vector3& to, float sceneScale, double metresPerUnit);

} // namespace Velda
