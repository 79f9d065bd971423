#pragma once

#include "render/BaseProcessor.h"

namespace Velda {

// Draws the sun dial over the main view: the ring in the lower right corner
// and its two knobs, turned by the two dial angles, in their hot form while
// the mouse is over them. Input is the widget's business, not this pass's.
class InteractiveProcesser : public BaseProcessor {
public:
    explicit InteractiveProcesser(Context3d* owner) : BaseProcessor(owner) {}
    ~InteractiveProcesser() override = default;

    void process(const RenderList& opaque, const RenderList& blended, bool clear) override;

    static const char* const kRing;
    static const char* const kInnerKnob;
    static const char* const kInnerKnobHot;
    static const char* const kOuterKnob;
    static const char* const kOuterKnobHot;

private:
    unsigned int imageTexture(const char* name);
};

} // namespace Velda
