#pragma once

#include <vector>

namespace VeldaClient {

// Everything a frame's picture depends on, as numbers: two signatures that
// are equal draw the same picture. The camera stands apart, so that a move
// can be told from any other change.
struct FrameSignature {
    // Transform, projection type, field of view, orthographic bounds, planes, viewport.
    std::vector<float> camera;
    // Sun and dial, sliders, white model, the sun's shadow, the orbit pivot.
    std::vector<float> scene;
    // Jobs queued, running or waiting for their finish, or the scene not ready.
    bool busy = false;
    // A camera flight runs.
    bool flying = false;

    // The state of the hub, its renderer and the job queue as it stands.
    static FrameSignature capture();

    bool sameCamera(const FrameSignature& other) const;
    // Bit for bit, so that a NaN equals itself and never keeps frames coming.
    bool operator==(const FrameSignature& other) const;
    bool operator!=(const FrameSignature& other) const { return !(*this == other); }
};

} // namespace VeldaClient
