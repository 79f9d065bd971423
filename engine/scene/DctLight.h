#pragma once

#include "scene/Light.h"

namespace Velda {

// Directional light.
class DctLight : public Light {
public:
    ~DctLight() override = default;

    // The base text, then the direction. Position is not part of it.
    std::string getStateText() override;

    void setDirection(float x, float y, float z);
    const Vector3& getDirection() const { return direction_; }

private:
    Vector3 direction_;
};

} // namespace Velda
