#pragma once

#include "render/BaseProcessor.h"
#include "render/GlName.h"
#include "render/RenderTarget.h"

namespace Velda {

// Draws the lit scene into a multisampled 16-bit float target and resolves
// it into "sceneTexure" for the passes behind it.
class LightingProcessor : public BaseProcessor {
public:
    explicit LightingProcessor(Context3d* owner) : BaseProcessor(owner) {}
    ~LightingProcessor() override = default;

    void releaseResources() override;
    void prepare() override;
    void process(const RenderList& opaque, const RenderList& blended, bool clear) override;

    int width() const { return width_; }
    int height() const { return height_; }
    int samples() const { return samples_; }

private:
    void createMultisample();

    GlName multisampleFrameBuffer_;
    GlName multisampleTexture_;
    GlName multisampleDepth_;
    RenderTarget resolve_;
    int width_ = 0;
    int height_ = 0;
    int samples_ = 0;
};

} // namespace Velda
