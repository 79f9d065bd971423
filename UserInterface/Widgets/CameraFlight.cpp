#include "UserInterface/Widgets/CameraFlight.h"

#include "Common/GraphicsContext.h"
#include "scene/Camera.h"

#include <QCoreApplication>
#include <QThread>

namespace VeldaClient {

CameraFlight::CameraFlight(const Velda::Vector3& startPosition, const Velda::Vector3& startTarget,
                           const Velda::Vector3& endPosition, const Velda::Vector3& endTarget)
    : startPosition(startPosition), startTarget(startTarget), endPosition(endPosition), endTarget(endTarget)
{
}

void CameraFlight::step()
{
    Q_ASSERT(QThread::currentThread() == QCoreApplication::instance()->thread());
    if (stepsTaken_ == 0) {
        position_ = startPosition;
        target_ = startTarget;
    }
    ++stepsTaken_;
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Camera* camera = hub->camera();
    position_ += (endPosition - startPosition) / 100.0f;
    target_ += (endTarget - startTarget) / 100.0f;
    camera->setPosition(position_);
    camera->lookAt(target_, hub->worldUp());
    // lookAt marks nothing stale; setting the position again does.
    camera->setPosition(position_);
}

} // namespace VeldaClient
