#pragma once

#include "render/BaseProcessor.h"
#include "render/GlName.h"
#include "render/RenderTarget.h"

#include <cstdint>

namespace Velda {

class ShaderProgram;

// Everything behind the lit scene: ambient occlusion when its slider is up,
// bloom (bright filter, blur pyramid, measured luminance) when its slider
// is not at 0, and always the composition with the filmic curve into the
// frame buffer the frame goes to.
class PostProcessor : public BaseProcessor {
public:
    explicit PostProcessor(Context3d* owner);
    ~PostProcessor() override = default;

    void releaseResources() override;
    void prepare() override;
    void process(const RenderList& opaque, const RenderList& blended, bool clear) override;

    float averageLuminance() const { return averageLuminance_; }
    const float (*kernel() const)[4] { return kernel_; }

private:
    void makeSsaoTargets();
    void makeBloomTargets();
    void makeKernelAndNoise();
    float random();

    void geometryPass(const RenderList& items, RenderTarget& target, const char* programName);
    void occlusion();
    void blurOcclusion();
    void applyOcclusion();
    void quadPass(RenderTarget& target, const char* programName);

    unsigned int sourcePicture();
    float bloomThreshold();
    void separateBloom();
    void gaussianBlur();
    void textureLuminance();
    void postProcess();

    float kernel_[64][4] = {};
    float noise_[16][4] = {};
    GlName noiseTexture_;
    RenderTarget position_;
    RenderTarget normal_;
    RenderTarget occlusion_;
    RenderTarget blur_;
    RenderTarget scene_;

    RenderTarget bright_;
    RenderTarget pyramid_[8];
    RenderTarget luminance_[2];
    float averageLuminance_ = 1.2f;

    int width_ = 0;
    int height_ = 0;
    uint32_t randomState_ = 1;
};

} // namespace Velda
