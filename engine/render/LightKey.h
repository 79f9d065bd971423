#pragma once

#include <string>

namespace Velda {

class AABB3;
class Light;

extern const char* const kDirectionalLightKey;  // "$dct_light$"
extern const char* const kSpotLightKey;         // "$spot_light$"

// Kind, the scene bounds' text, "-", the light's state text: it changes when
// the light changes or the bounds grow.
std::string lightKey(const char* kind, AABB3& bounds, Light& light);

} // namespace Velda
