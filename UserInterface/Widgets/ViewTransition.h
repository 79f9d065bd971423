#pragma once

#include "scene/Vector.h"

namespace VeldaClient {

class WidgetThumbnail;

// The half-second flight from the live camera to a saved view: position,
// target, field of view (degrees) and the sun dial's angles, in 100 steps of
// 5 ms on a pool thread. The view's guard keeps a second flight of it from
// starting and stops this one when cleared. Writes the camera without a
// lock; the sun angles go to the dial through the view's setRadValue.
struct ViewTransition {
    Velda::Vector3 startPosition;
    Velda::Vector3 startTarget;
    Velda::Vector3 endPosition;
    Velda::Vector3 endTarget;
    double startFov = 0.0;
    double endFov = 0.0;
    float startLr = 0.0f;
    float startTr = 0.0f;
    float endLr = 0.0f;
    float endTr = 0.0f;
    WidgetThumbnail* thumbnail = nullptr;

    static const int kSteps = 100;
    static const int kStepMilliseconds = 5;

    void run() const;
};

} // namespace VeldaClient
