#pragma once

#include "render/GlName.h"
#include "scene/RenderItem.h"
#include "scene/Vector.h"

#include <cstdint>
#include <vector>

namespace Velda {

class Camera;
class Context3d;
class SceneRoot;

// What lies under a pixel of the view.
struct PickHit {
    uint32_t object = 0;  // the mesh's 1-based place in the scene; 0: nothing
    Vector3 point;        // where, in scene units; valid with an object
    bool snapped = false; // `point` is a vertex near the pixel rather than the surface
};

// The id pass: the scene drawn once more, only when a click needs it, into
// a target of the view's size that holds each pixel's object and world
// position, with the same hidden objects and section box as the picture.
// Reads back the one pixel asked for, or the few around it to snap to a
// vertex. Leaves `frameBuffer` bound. GL thread only.
class PickPass {
public:
    explicit PickPass(Context3d* owner) : owner_(owner) {}

    // The object and surface point at (x, y), pixels from the view's top left.
    PickHit pick(SceneRoot* scene, Camera* camera, int x, int y, unsigned int frameBuffer);
    // As pick, with the point moved to the nearest vertex of a seen surface
    // within `radius` pixels, when there is one.
    PickHit snap(SceneRoot* scene, Camera* camera, int x, int y, int radius, unsigned int frameBuffer);
    // What lies under every pixel of the view, rows from the top; empty for
    // an empty view.
    std::vector<PickHit> viewMap(SceneRoot* scene, Camera* camera, unsigned int frameBuffer);

private:
    // Makes the targets for the camera's view size; false for an empty view.
    bool prepare(Camera& camera);
    void drawIds(SceneRoot* scene, Camera& camera);
    void drawVertices(Camera& camera);
    PickHit readHit(int x, int y);

    Context3d* owner_;
    int width_ = 0;
    int height_ = 0;
    GlName idFrameBuffer_;
    GlName idTexture_;
    GlName positionTexture_;
    GlName depth_;
    GlName pointFrameBuffer_;
    GlName pointTexture_;
    RenderList drawn_;  // what the last id pass drew, for the vertices
};

} // namespace Velda
