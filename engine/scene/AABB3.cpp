#include "scene/AABB3.h"

#include "formats/TextHelpers.h"

#include <algorithm>

namespace Velda {

AABB3::AABB3(const Vector3& minimum, const Vector3& maximum) : minimum_(minimum), maximum_(maximum) {}

void AABB3::setMin(const Vector3& v)
{
    minimum_ = v;
    labelDirty_ = true;
}

void AABB3::setMax(const Vector3& v)
{
    maximum_ = v;
    labelDirty_ = true;
}

void AABB3::extend(const Vector3& p)
{
    minimum_ = {std::min(minimum_.x, p.x), std::min(minimum_.y, p.y), std::min(minimum_.z, p.z)};
    maximum_ = {std::max(maximum_.x, p.x), std::max(maximum_.y, p.y), std::max(maximum_.z, p.z)};
    labelDirty_ = true;
}

void AABB3::extend(const AABB3& box)
{
    extend(box.minimum_);
    extend(box.maximum_);
}

void AABB3::reset()
{
    minimum_ = maximum_ = Vector3();
    labelDirty_ = true;
}

void AABB3::resetEmpty()
{
    const float big = 3.4028235e38f;
    minimum_ = {big, big, big};
    maximum_ = {-big, -big, -big};
    labelDirty_ = true;
}

bool AABB3::contains(const Vector3& p) const
{
    return minimum_.x <= p.x && p.x <= maximum_.x && minimum_.y <= p.y && p.y <= maximum_.y &&
           minimum_.z <= p.z && p.z <= maximum_.z;
}

bool AABB3::intersects(const AABB3& box, AABB3* out) const
{
    if (maximum_.x < box.minimum_.x || box.maximum_.x < minimum_.x || maximum_.y < box.minimum_.y ||
        box.maximum_.y < minimum_.y || maximum_.z < box.minimum_.z || box.maximum_.z < minimum_.z)
        return false;
    if (out) {
        out->setMin({std::max(minimum_.x, box.minimum_.x), std::max(minimum_.y, box.minimum_.y),
                     std::max(minimum_.z, box.minimum_.z)});
        out->setMax({std::min(maximum_.x, box.maximum_.x), std::min(maximum_.y, box.maximum_.y),
                     std::min(maximum_.z, box.maximum_.z)});
    }
    return true;
}

const std::string& AABB3::getLabel()
{
    if (labelDirty_) {
        const float values[6] = {maximum_.x, maximum_.y, maximum_.z, minimum_.x, minimum_.y, minimum_.z};
        label_ = floatsToText(values, 6, "-");
        labelDirty_ = false;
    }
    return label_;
}

} // namespace Velda
