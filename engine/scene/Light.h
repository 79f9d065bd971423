#pragma once

#include "scene/Object3D.h"
#include "scene/Vector.h"

#include <string>

namespace Velda {

// A set of light parameters placed in the world. Its state text identifies
// the present values; the shadow pass keys its maps on it, so the text is
// rebuilt only when a value or the transform changed.
class Light : public Object3D {
public:
    Light() = default;
    ~Light() override = default;

    void collectRenderItems(RenderList& list) override;
    bool setCastShadow(bool cast) override;

    // "r-g-b-intensity-shadow", each number by floatToText.
    virtual std::string getStateText();
    virtual bool setTextDirty(bool dirty);

    void setColor(float r, float g, float b);
    const Vector3& getColor() const { return color_; }
    void setIntensity(float intensity);
    float getIntensity() const { return intensity_; }
    bool isTextDirty() const { return textDirty_; }

protected:
    // Whether the text must be rebuilt: a value or the transform changed
    // (the position only when it is part of the text).
    bool textStale(bool positionCounts = true) const
    {
        return textDirty_ || inverseDirty_ || normalDirty_ || (positionCounts && positionDirty_);
    }

    Vector3 color_;
    float intensity_ = 1.0f;  // no constructor of the design sets it; full strength is the defined start
    std::string text_;
    bool textDirty_ = false;
};

} // namespace Velda
