#pragma once

#include "scene/Vector.h"

#include <string>

namespace Velda {

// Axis-aligned box with a cached text of its values, used inside cache keys.
class AABB3 {
public:
    AABB3() = default;
    AABB3(const Vector3& minimum, const Vector3& maximum);
    virtual ~AABB3() = default;
    AABB3(const AABB3&) = default;
    AABB3& operator=(const AABB3&) = default;

    const Vector3& getMin() const { return minimum_; }
    const Vector3& getMax() const { return maximum_; }
    void setMin(const Vector3& v);
    void setMax(const Vector3& v);

    void extend(const Vector3& point);
    void extend(const AABB3& box);
    // All six components 0.
    void reset();
    // Minimum +3.4028235e38, maximum -3.4028235e38: any extension takes over.
    void resetEmpty();

    bool contains(const Vector3& point) const;  // inclusive
    // Touching counts as overlap; `out` receives the intersection.
    bool intersects(const AABB3& box, AABB3* out = nullptr) const;

    // "maxx-maxy-maxz-minx-miny-minz", each by floatToText; rebuilt only
    // after a change.
    const std::string& getLabel();
    bool isLabelDirty() const { return labelDirty_; }

private:
    Vector3 minimum_;
    Vector3 maximum_;
    std::string label_;
    bool labelDirty_ = true;
};

} // namespace Velda
