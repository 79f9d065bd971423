#include "scene/SunDial.h"

#include "scene/SpotLight.h"

namespace Velda {

namespace {
const float kQuarter = 1.5707963f;
const float kThreeQuarters = 4.712389f;
const float kHalfTurn = 3.1415925f;

Matrix4 rotationAbout(const Vector3& axis, float angle)
{
    Matrix4 m;
    m.rotate(Vector3(0.0f, 0.0f, 0.0f), axis, angle);
    return m;
}
} // namespace

SunDial::SunDial()
{
    azimuthRotation_.rotateZ(azimuth_);
    timeRotation_.rotateX(-0.7853981f);
}

float SunDial::elevationOf(float a)
{
    float e;
    if (a <= kQuarter)
        e = a / kQuarter * 1.9634953f;
    else if (a < kThreeQuarters)
        e = (a - kQuarter) / kHalfTurn * 2.3561945f + 1.9634953f;
    else
        e = (a - kThreeQuarters) / kQuarter * 1.9634953f + 4.3196898f;
    if (e > kQuarter && e < kThreeQuarters)
        e += kHalfTurn;
    return e;
}

void SunDial::turnByAzimuth(float azimuth, AABB3& sceneBox, SpotLight& light)
{
    azimuth_ = azimuth;
    azimuthRotation_ = rotationAbout(Vector3(0.0f, 0.0f, 1.0f), azimuth);
    place(sceneBox, light);
}

void SunDial::turnByTime(float time, AABB3& sceneBox, SpotLight& light)
{
    time_ = time;
    timeRotation_ = rotationAbout(Vector3(1.0f, 0.0f, 0.0f), elevationOf(time));
    place(sceneBox, light);
}

void SunDial::place(AABB3& sceneBox, SpotLight& light) const
{
    const Vector3 min = sceneBox.getMin();
    const Vector3 max = sceneBox.getMax();
    Vector3 target = min + (max - min) * 0.5f;
    target.z = max.z;
    const Matrix4 m = azimuthRotation_ * timeRotation_;
    const Vector3 direction = m.transformPoint(Vector3(0.01f, 0.01f, -100.0f));
    const Vector3 position = m.transformPoint(Vector3(0.0f, 0.0f, 4.1569f)) + target;
    light.setDirection(direction.normalized());
    light.setTextDirty(true);
    light.setPosition(position);
    light.setTextDirty(true);
}

} // namespace Velda
