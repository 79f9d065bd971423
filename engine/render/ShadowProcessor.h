#pragma once

#include "render/BaseProcessor.h"
#include "render/RenderTarget.h"
#include "scene/Matrix4.h"

#include <cstdint>
#include <map>
#include <string>

namespace Velda {

class DctLight;
class Light;
class PtLight;
class SpotLight;

// The variance shadow map. It depends on the lights and the scene's bounds,
// not on the camera, so it is kept between frames: redrawn while loading,
// once more when ready, and after a change of a light, of the bounds or of
// its size. The half-size copy is "depthTex", the lit shader's shadowMap.
class ShadowProcessor : public BaseProcessor {
public:
    explicit ShadowProcessor(Context3d* owner);
    ~ShadowProcessor() override = default;

    void createResources() override;
    void releaseResources() override;
    void prepare() override;
    void process(const RenderList& opaque, const RenderList& blended, bool clear) override;

    bool needsUpdate();
    Matrix4 directionalMatrix(DctLight& light);
    Matrix4 spotMatrix(SpotLight& light);

    unsigned int width() const { return width_; }
    unsigned int height() const { return height_; }
    bool settled() const { return settled_; }
    // How many times the map has been drawn.
    uint64_t drawCount() const { return drawCount_; }

private:
    void drawMoments(const RenderList& items);
    void reduce();
    // The light camera's view-projection: orthographic over the bounds'
    // diagonal, looking along the light from outside the box.
    Matrix4 lightViewProjection(const Vector3& direction, const Vector3& up);

    RenderTarget moment_;
    RenderTarget reduced_;
    unsigned int width_;
    unsigned int height_;
    Matrix4 noLight_;
    std::map<Light*, std::string> directionalKeys_;
    std::map<Light*, std::string> spotKeys_;
    std::map<Light*, std::string> pointKeys_;  // no light of that kind casts a shadow
    bool settled_ = false;
    bool sizeChanged_ = false;
    uint64_t castersVersion_ = 0;  // the review state's visibility the map was drawn for
    uint64_t drawCount_ = 0;
};

} // namespace Velda
