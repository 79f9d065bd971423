#pragma once

#include "UserInterface/Widgets/CameraFlight.h"

namespace VeldaClient {

class WidgetThumbnail;

// The flight from the live camera to a saved view: the camera's route, the
// field of view (degrees) and the sun dial's angles, on a pool thread. The
// view's guard keeps a second flight of it from starting and stops this one
// when cleared. The sun angles go to the dial through the view's setRadValue.
struct ViewTransition {
    CameraFlight route;
    double startFov = 0.0;
    double endFov = 0.0;
    float startLr = 0.0f;
    float startTr = 0.0f;
    float endLr = 0.0f;
    float endTr = 0.0f;
    WidgetThumbnail* thumbnail = nullptr;

    void run() const;
};

} // namespace VeldaClient
