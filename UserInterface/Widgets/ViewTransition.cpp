#include "UserInterface/Widgets/ViewTransition.h"

#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/WidgetThumbnail.h"
#include "scene/Camera.h"

#include <QThread>

namespace VeldaClient {

void ViewTransition::run() const
{
    if (!thumbnail->beginTransition())
        return;
    if (startPosition == endPosition && startTarget == endTarget && startFov == endFov && startLr == endLr &&
        startTr == endTr) {
        thumbnail->setTransitionRunning(false);
        return;
    }
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Camera* camera = hub->camera();
    const Velda::Vector3 positionStep = (endPosition - startPosition) / 100.0f;
    const Velda::Vector3 targetStep = (endTarget - startTarget) / 100.0f;
    const double fovStep = (endFov - startFov) / 100.0;
    const float lrStep = static_cast<float>((endLr - startLr) / 100.0);
    const float trStep = static_cast<float>((endTr - startTr) / 100.0);
    Velda::Vector3 position = startPosition;
    Velda::Vector3 target = startTarget;
    double fov = startFov;
    for (int i = 0; i < kSteps && thumbnail->transitionRunning(); ++i) {
        position += positionStep;
        target += targetStep;
        fov += fovStep;
        camera->setPosition(position);
        camera->lookAt(target, hub->worldUp());
        // lookAt marks nothing stale; setting the position again does.
        camera->setPosition(position);
        camera->setFov(static_cast<float>(fov / 180.0 * 3.1415925));
        // The sun runs from its start by whole steps: it ends one step short.
        float* angles = new float[2]{startLr + i * lrStep, startTr + i * trStep};
        emit thumbnail->setRadValue(angles);
        QThread::msleep(kStepMilliseconds);
    }
    thumbnail->setTransitionRunning(false);
}

} // namespace VeldaClient
