#include "scene/DctLight.h"

#include "formats/TextHelpers.h"

namespace Velda {

std::string DctLight::getStateText()
{
    // Tested before the base call, which clears the flag.
    if (!textStale(false))
        return text_;
    const std::string base = Light::getStateText();
    const float direction[3] = {direction_.x, direction_.y, direction_.z};
    text_ = base + "-" + floatsToText(direction, 3, "-");
    textDirty_ = false;
    return text_;
}

void DctLight::setDirection(float x, float y, float z)
{
    direction_ = {x, y, z};
    textDirty_ = true;
}

} // namespace Velda
