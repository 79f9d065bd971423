#include "scene/Measurement.h"

#include <cmath>
#include <cstdio>

namespace Velda {

std::string MeasuredLength::text() const
{
    char buffer[64];
    if (metres)
        std::snprintf(buffer, sizeof buffer, "%.3f m", value);
    else
        std::snprintf(buffer, sizeof buffer, "%.3f 场景单位", value);
    return buffer;
}

MeasuredLength measureLength(const Vector3& from, const Vector3& to, float sceneScale, double metresPerUnit)
{
    const double dx = static_cast<double>(to.x) - from.x;
    const double dy = static_cast<double>(to.y) - from.y;
    const double dz = static_cast<double>(to.z) - from.z;
    const double scene = std::sqrt(dx * dx + dy * dy + dz * dz);
    MeasuredLength length;
    if (metresPerUnit > 0.0 && sceneScale > 0.0f) {
        length.value = scene / sceneScale * metresPerUnit;
        length.metres = true;
    } else {
        length.value = scene;
    }
    return length;
}

} // namespace Velda
