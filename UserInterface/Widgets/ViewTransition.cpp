#include "UserInterface/Widgets/ViewTransition.h"

#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/WidgetThumbnail.h"
#include "scene/Camera.h"

namespace VeldaClient {

void ViewTransition::run() const
{
    if (!thumbnail->beginTransition())
        return;
    if (route.startPosition == route.endPosition && route.startTarget == route.endTarget && startFov == endFov &&
        startLr == endLr && startTr == endTr) {
        thumbnail->setTransitionRunning(false);
        return;
    }
    Velda::Camera* camera = GraphicsContext::instance()->camera();
    const double fovStep = (endFov - startFov) / 100.0;
    const float lrStep = static_cast<float>((endLr - startLr) / 100.0);
    const float trStep = static_cast<float>((endTr - startTr) / 100.0);
    double fov = startFov;
    route.run([this]() { return thumbnail->transitionRunning(); },
              [&](int i) {
                  fov += fovStep;
                  camera->setFov(static_cast<float>(fov / 180.0 * 3.1415925));
                  // The sun runs from its start by whole steps: it ends one step short.
                  float* angles = new float[2]{startLr + i * lrStep, startTr + i * trStep};
                  emit thumbnail->setRadValue(angles);
              });
    thumbnail->setTransitionRunning(false);
}

} // namespace VeldaClient
