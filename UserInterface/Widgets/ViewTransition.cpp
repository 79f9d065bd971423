#include "UserInterface/Widgets/ViewTransition.h"

#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/WidgetThumbnail.h"
#include "scene/Camera.h"

namespace VeldaClient {

bool ViewTransition::begin()
{
    if (!thumbnail->beginTransition())
        return false;
    if (route.stands() && startFov == endFov && startLr == endLr && startTr == endTr) {
        end();
        return false;
    }
    fov_ = startFov;
    return true;
}

bool ViewTransition::going() const
{
    return thumbnail->transitionRunning();
}

void ViewTransition::step(int i)
{
    route.step();
    fov_ += (endFov - startFov) / 100.0;
    GraphicsContext::instance()->camera()->setFov(static_cast<float>(fov_ / 180.0 * 3.1415925));
    // The sun runs from its start by whole steps: it ends one step short.
    const float lrStep = static_cast<float>((endLr - startLr) / 100.0);
    const float trStep = static_cast<float>((endTr - startTr) / 100.0);
    float* angles = new float[2]{startLr + i * lrStep, startTr + i * trStep};
    emit thumbnail->setRadValue(angles);
}

void ViewTransition::end()
{
    thumbnail->setTransitionRunning(false);
}

} // namespace VeldaClient
