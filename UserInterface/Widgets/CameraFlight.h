#pragma once

#include "scene/Vector.h"

#include <functional>

namespace VeldaClient {

// A half-second flight of the main camera: 100 steps of 5 ms from one
// position and target to another, each step looking at its target with the
// world's up. Runs on a pool thread and writes the camera without a lock;
// the frame takes whatever it finds.
struct CameraFlight {
    Velda::Vector3 startPosition;
    Velda::Vector3 startTarget;
    Velda::Vector3 endPosition;
    Velda::Vector3 endTarget;

    static const int kSteps = 100;
    static const int kStepMilliseconds = 5;

    // `going` is asked before each step and ends the flight early when it
    // answers false; `stepped` is told each step's index after the camera moved.
    void run(const std::function<bool()>& going = {}, const std::function<void(int)>& stepped = {}) const;
};

} // namespace VeldaClient
