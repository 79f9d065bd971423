#include "render/LightKey.h"

#include "scene/AABB3.h"
#include "scene/Light.h"

namespace Velda {

const char* const kDirectionalLightKey = "$dct_light$";
const char* const kSpotLightKey = "$spot_light$";

std::string lightKey(const char* kind, AABB3& bounds, Light& light)
{
    return kind + bounds.getLabel() + "-" + light.getStateText();
}

} // namespace Velda
