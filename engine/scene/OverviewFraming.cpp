#include "scene/OverviewFraming.h"

#include <algorithm>
#include <cmath>

namespace Velda {

void placeOverview(Camera& camera, const AABB3& box, float aspect, bool ortho)
{
    const Vector3 min = box.getMin();
    const Vector3 max = box.getMax();
    const Vector3 centre = (min + max) * 0.5f;
    const Vector3 dir = Vector3(1.0f, -1.0f, 0.5f).normalized();
    const Vector3 up(0.0f, 0.0f, 1.0f);
    const Vector3 right = up.cross(dir).normalized();
    const Vector3 upward = dir.cross(right).normalized();
    const float tanV = std::tan(camera.getFov() * 0.5f);
    const float tanH = tanV * aspect;
    float distance = 0.0f;
    float halfW = 0.0f;
    float halfH = 0.0f;
    float depth = 0.0f;
    for (int corner = 0; corner < 8; ++corner) {
        const Vector3 p((corner & 1) ? max.x : min.x, (corner & 2) ? max.y : min.y, (corner & 4) ? max.z : min.z);
        const Vector3 q = p - centre;
        const float x = std::fabs(q.dot(right));
        const float y = std::fabs(q.dot(upward));
        const float z = q.dot(dir);
        distance = std::max(distance, std::max(z + x / tanH, z + y / tanV));
        halfW = std::max(halfW, x);
        halfH = std::max(halfH, y);
        depth = std::max(depth, std::fabs(z));
    }
    distance *= 1.05f;
    const Vector3 eye = centre + dir * distance;
    camera.setPosition(eye);
    camera.lookAt(centre, up);
    camera.setPosition(eye);  // marks the view stale after the turn
    camera.setFar(std::max(camera.getFar(), distance + 2.0f * depth));
    if (ortho) {
        const float h = std::max(halfH, halfW / aspect) * 1.05f;
        camera.setOrthoBounds(-h * aspect, h * aspect, -h, h);
    }
}

} // namespace Velda
