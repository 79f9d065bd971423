#pragma once

#include "scene/Vector.h"

namespace VeldaClient {

// The route of a half-second flight of the main camera: 100 steps from one
// position and target to another, each step looking at its target with the
// world's up. A FlightTimer paces the steps on the GUI thread.
class CameraFlight {
public:
    static const int kSteps = 100;
    static const int kStepMilliseconds = 5;

    CameraFlight() = default;
    CameraFlight(const Velda::Vector3& startPosition, const Velda::Vector3& startTarget,
                 const Velda::Vector3& endPosition, const Velda::Vector3& endTarget);

    // Position and target move on by a hundredth of their routes, and the
    // camera takes them. GUI thread: frames read the camera there.
    void step();
    bool stands() const { return startPosition == endPosition && startTarget == endTarget; }

    Velda::Vector3 startPosition;
    Velda::Vector3 startTarget;
    Velda::Vector3 endPosition;
    Velda::Vector3 endTarget;

private:
    // Where the last step left them; the steps add up, as the route always has.
    Velda::Vector3 position_;
    Velda::Vector3 target_;
    int stepsTaken_ = 0;
};

} // namespace VeldaClient
