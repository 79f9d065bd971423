#pragma once

#include "UserInterface/Widgets/CameraFlight.h"

namespace VeldaClient {

class WidgetThumbnail;

// The flight from the live camera to a saved view: the camera's route, the
// field of view (degrees) and the sun dial's angles. The view's guard keeps
// a second flight of it from starting and stops this one when cleared. The
// sun angles go to the dial through the view's setRadValue.
struct ViewTransition {
    CameraFlight route;
    double startFov = 0.0;
    double endFov = 0.0;
    float startLr = 0.0f;
    float startTr = 0.0f;
    float endLr = 0.0f;
    float endTr = 0.0f;
    WidgetThumbnail* thumbnail = nullptr;

    // Takes the view's guard; false, with the guard as it was or cleared
    // again, when a flight of the view runs or there is nothing to fly.
    bool begin();
    bool going() const;
    // Step `i` of 100: route, field of view and sun.
    void step(int i);
    // Clears the guard.
    void end();

private:
    double fov_ = 0.0;
};

} // namespace VeldaClient
