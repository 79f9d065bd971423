#pragma once

#include "scene/Matrix4.h"
#include "scene/RenderItem.h"

#include <cstdint>

namespace Velda {

class Context3d;

// A render pass. The base holds the one routine that turns a render item
// into a lit draw call; the passes meet only through the renderer's named
// textures.
class BaseProcessor {
public:
    explicit BaseProcessor(Context3d* owner);
    virtual ~BaseProcessor() = default;
    BaseProcessor(const BaseProcessor&) = delete;
    BaseProcessor& operator=(const BaseProcessor&) = delete;

    virtual void createResources() {}
    virtual void releaseResources() {}
    virtual void prepare() {}
    virtual void process(const RenderList& opaque, const RenderList& blended, bool clear);
    virtual void finish() {}

    // Draws the items with the named program: material, lights, textures
    // and the shadow map through the `u_Uniform` block. The caller has bound
    // the target, set the viewport and cleared.
    void drawGeometry(const RenderList& items, const char* programName, Matrix4 viewProj);

    bool enabled = true;
    // The fraction of the view's size that the pass's targets take (the
    // reduced frames of a moving camera use a second set of passes).
    float sizeScale = 1.0f;
    int scaledWidth() const;
    int scaledHeight() const;

    // Draw calls issued since the last reset, for the frame's statistics.
    void resetDrawCalls() { drawCalls_ = 0; }
    // Counts a draw; on the fast path, every hundred thousand triangles
    // waits for the driver to draw them, so that a software driver keeps
    // no more than that in its bins (a 100,000-object city would hold two
    // gigabytes more; the frame takes no longer).
    void countDraw(uint32_t indices);
    uint32_t drawCalls() const { return drawCalls_; }

    // The water clock: grows by 0.001 with every drawGeometry, never wraps.
    static double waterClock();

protected:
    void writeFrameEntries();
    void writeMaterialEntries(const RenderItem& item);
    void bindChannels(class ShaderProgram& program, RenderItem& item);

    Context3d* owner_;
    uint32_t drawCalls_ = 0;
    uint64_t unflushedIndices_ = 0;
    float uniformBlock_[64][4] = {};
};

} // namespace Velda
