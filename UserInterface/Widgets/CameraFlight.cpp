#include "UserInterface/Widgets/CameraFlight.h"

#include "Common/GraphicsContext.h"
#include "scene/Camera.h"

#include <QThread>

namespace VeldaClient {

void CameraFlight::run(const std::function<bool()>& going, const std::function<void(int)>& stepped) const
{
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Camera* camera = hub->camera();
    const Velda::Vector3 positionStep = (endPosition - startPosition) / 100.0f;
    const Velda::Vector3 targetStep = (endTarget - startTarget) / 100.0f;
    Velda::Vector3 position = startPosition;
    Velda::Vector3 target = startTarget;
    for (int i = 0; i < kSteps && (!going || going()); ++i) {
        position += positionStep;
        target += targetStep;
        camera->setPosition(position);
        camera->lookAt(target, hub->worldUp());
        // lookAt marks nothing stale; setting the position again does.
        camera->setPosition(position);
        if (stepped)
            stepped(i);
        QThread::msleep(kStepMilliseconds);
    }
}

} // namespace VeldaClient
