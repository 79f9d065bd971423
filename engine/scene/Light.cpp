#include "scene/Light.h"

#include "formats/TextHelpers.h"

namespace Velda {

void Light::collectRenderItems(RenderList&) {}

bool Light::setCastShadow(bool cast)
{
    const bool result = Object3D::setCastShadow(cast);
    textDirty_ = true;
    return result;
}

std::string Light::getStateText()
{
    if (!textStale())
        return text_;
    const float values[4] = {color_.x, color_.y, color_.z, intensity_};
    text_ = floatsToText(values, 4, "-") + (castShadow_ ? "-1" : "-0");
    textDirty_ = false;
    return text_;
}

bool Light::setTextDirty(bool dirty)
{
    textDirty_ = dirty;
    return dirty;
}

void Light::setColor(float r, float g, float b)
{
    color_ = {r, g, b};
    textDirty_ = true;
}

void Light::setIntensity(float intensity)
{
    intensity_ = intensity;
    textDirty_ = true;
}

} // namespace Velda
