#include "scene/SpotLight.h"

#include "formats/TextHelpers.h"

namespace Velda {

std::string SpotLight::getStateText()
{
    // Tested before the base call, which clears the flag.
    if (!textStale())
        return text_;
    const std::string base = Light::getStateText();
    const Vector3& p = getPosition();
    const float values[11] = {direction_.x, direction_.y, direction_.z, p.x, p.y, p.z, linear_,
                              quadratic_, constant_, innerCos_, outerCos_};
    text_ = base + "-" + floatsToText(values, 11, "-");
    textDirty_ = false;
    return text_;
}

} // namespace Velda
