#pragma once

#include "scene/Light.h"

namespace Velda {

// Point light. It has no state text: it must never reach the shadow pass.
class PtLight : public Light {
public:
    ~PtLight() override = default;

    // Throws std::logic_error("The method or operation is not implemented.").
    std::string getStateText() override;

    void setVector(float x, float y, float z) { vector_ = {x, y, z}; }
    const Vector3& getVector() const { return vector_; }
    void setAttenuation(float a, float b)
    {
        attenuation_[0] = a;
        attenuation_[1] = b;
    }
    void setAttenuationThird(float c) { attenuation_[2] = c; }
    const float* getAttenuation() const { return attenuation_; }

private:
    Vector3 vector_;
    float attenuation_[3] = {1.0f, 0.0f, 0.0f};
};

} // namespace Velda
