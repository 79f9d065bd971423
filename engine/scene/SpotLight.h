#pragma once

#include "scene/Light.h"

namespace Velda {

// The sun-like light. Its field setters write the field only; the caller
// decides when the text goes stale (setTextDirty) so one drag of the sun
// costs one new shadow map.
class SpotLight : public Light {
public:
    ~SpotLight() override = default;

    // The base text, then direction, position, linear, quadratic, constant,
    // innerCos and outerCos.
    std::string getStateText() override;

    Vector3& direction() { return direction_; }
    const Vector3& getDirection() const { return direction_; }
    void setDirection(const Vector3& d) { direction_ = d; }
    float getLinear() const { return linear_; }
    void setLinear(float v) { linear_ = v; }
    float getQuadratic() const { return quadratic_; }
    void setQuadratic(float v) { quadratic_ = v; }
    float getConstant() const { return constant_; }
    void setConstant(float v) { constant_ = v; }
    float getInnerCos() const { return innerCos_; }
    void setInnerCos(float v) { innerCos_ = v; }
    float getOuterCos() const { return outerCos_; }
    void setOuterCos(float v) { outerCos_ = v; }

private:
    Vector3 direction_;
    float linear_ = 0.0f;
    float quadratic_ = 0.0f;
    float constant_ = 1.0f;
    float innerCos_ = 1.0f;
    float outerCos_ = 1.0f;
};

} // namespace Velda
