#pragma once

#include "scene/AABB3.h"
#include "scene/Matrix4.h"

namespace Velda {

class SpotLight;

// How the two dial angles place the sun. `azimuth` (the inner dial) turns
// the light about the world's up axis; `time` (the outer dial) tilts it
// about x after a remap that stretches the top of the dial. The light looks
// at the top centre of the scene's box from 4.1569 units away.
class SunDial {
public:
    SunDial();

    // Both store the angle, rebuild their rotation and place the light.
    void turnByAzimuth(float azimuth, AABB3& sceneBox, SpotLight& light);
    void turnByTime(float time, AABB3& sceneBox, SpotLight& light);
    // Places the light from the two rotations as they stand.
    void place(AABB3& sceneBox, SpotLight& light) const;

    // The dial angle of the outer ring to the tilt about x.
    static float elevationOf(float time);

    float azimuth() const { return azimuth_; }
    float time() const { return time_; }

private:
    float azimuth_ = 5.497787f;
    float time_ = 2.3561945f;
    Matrix4 azimuthRotation_;
    Matrix4 timeRotation_;
};

} // namespace Velda
