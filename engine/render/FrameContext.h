#pragma once

#include "render/GlName.h"
#include "scene/Matrix4.h"

#include <map>
#include <string>

namespace Velda {

class Camera;
class Context3d;

// The state of the frame in progress: where it goes, which camera it sees
// through, and the light-space matrices the shadow pass has made so far.
struct FrameContext {
    bool offscreenActive = false;
    int targetTexture = -1;
    GlName offscreenFrameBuffer;  // made on first use, kept with that size
    GlName offscreenDepth;
    Context3d* owner = nullptr;
    float skyColor[3] = {0.4f, 0.3f, 0.25f};
    float groundColor[3] = {0.13f, 0.17f, 0.37f};
    Camera* camera = nullptr;
    std::map<std::string, Matrix4> lightMatrices;  // by light key
};

} // namespace Velda
