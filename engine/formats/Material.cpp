#include "formats/Material.h"

namespace Velda {

namespace {
template <typename T>
T valueOr(const std::map<int, T>& map, int channel, const T& fallback)
{
    const auto it = map.find(channel);
    return it == map.end() ? fallback : it->second;
}
} // namespace

void Material::setEmissive(const Vector3& v)
{
    emissive_ = v == Vector3() ? Vector3(1.0f, 1.0f, 1.0f) : v;
}

void Material::setBlend(bool v)
{
    blend_ = v;
    depthTest_ = true;
    depthWrite_ = !v;
}

int32_t Material::getUvSet(int channel) const { return valueOr(uvSets_, channel, -1); }
float Material::getWeight(int channel) const { return valueOr(weights_, channel, -1.0f); }
Vector3 Material::getUvOffset(int channel) const { return valueOr(uvOffsets_, channel, Vector3()); }
Vector3 Material::getUvScale(int channel) const { return valueOr(uvScales_, channel, Vector3(1.0f, 1.0f, 0.0f)); }

} // namespace Velda
