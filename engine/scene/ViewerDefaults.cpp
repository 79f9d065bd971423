#include "scene/ViewerDefaults.h"

#include "scene/Camera.h"
#include "scene/SceneRoot.h"
#include "scene/SpotLight.h"

#include <cmath>

namespace Velda {

Camera* createViewerCamera(SceneRoot& scene)
{
    auto* camera = static_cast<Camera*>(scene.createObject(SceneRoot::kCamera));
    camera->setFar(15.0f);
    camera->setNear(0.01f);
    camera->setFov(1.0471975f);
    camera->setProjectionType(Camera::kPerspective);
    camera->setOrthoBounds(-0.8f, 0.8f, -0.6f, 0.6f);
    camera->setClearColor(0.5411765f, 0.6784314f, 0.8156863f, 1.0f);  // 138, 173, 208
    return camera;
}

SpotLight* createViewerSun(SceneRoot& scene)
{
    auto* sun = static_cast<SpotLight*>(scene.createObject(SceneRoot::kSpotLight));
    sun->setColor(1.0f, 1.0f, 1.0f);
    sun->setPosition(2.0f, 1.0f, 4.0f);
    sun->setDirection(Vector3(-40.0f, -40.0f, -80.0f).normalized());
    sun->setLinear(0.0014f);
    sun->setQuadratic(0.000007f);
    sun->setConstant(1.0f);
    const float degree = 3.1415925f / 180.0f;
    sun->setInnerCos(std::cos(35.0f * degree));
    sun->setOuterCos(std::cos(50.0f * degree));
    sun->setCastShadow(true);
    return sun;
}

} // namespace Velda
