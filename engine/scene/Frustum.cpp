#include "scene/Frustum.h"

#include "scene/AABB3.h"

namespace Velda {

bool Frustum::outside(const AABB3& box, float pad) const
{
    Vector3 lo = box.getMin();
    Vector3 hi = box.getMax();
    if (lo.x > hi.x || lo.y > hi.y || lo.z > hi.z)
        return false;
    if (lo.x == hi.x && lo.y == hi.y && lo.z == hi.z)
        return false;  // a box never set
    const float grow = (hi - lo).length() * pad + 1e-4f;
    lo = lo - Vector3(grow, grow, grow);
    hi = hi + Vector3(grow, grow, grow);
    // One bit per side of the volume that a corner lies beyond; a side that
    // every corner lies beyond leaves the box outside.
    unsigned all = 0x3f;
    for (int corner = 0; corner < 8 && all; ++corner) {
        const Vector4 c = matrix_.transformVector4(Vector4((corner & 1) ? hi.x : lo.x, (corner & 2) ? hi.y : lo.y,
                                                           (corner & 4) ? hi.z : lo.z, 1.0f));
        unsigned beyond = 0;
        if (c.x < -c.w)
            beyond |= 1;
        if (c.x > c.w)
            beyond |= 2;
        if (c.y < -c.w)
            beyond |= 4;
        if (c.y > c.w)
            beyond |= 8;
        if (c.z < -c.w)
            beyond |= 16;
        if (c.z > c.w)
            beyond |= 32;
        all &= beyond;
    }
    return all != 0;
}

} // namespace Velda
