#pragma once

#include "render/GlName.h"

#include <vector>

namespace VeldaRender {

// The frame buffer that velda-render draws into instead of a window: an
// RGBA8 colour texture and a depth (with stencil) render buffer of one size.
// Needs a current GL context; throws std::runtime_error when the driver
// cannot make it complete.
class OffscreenTarget {
public:
    OffscreenTarget(int width, int height);

    unsigned int frameBuffer() const { return frameBuffer_.get(); }
    unsigned int colorTexture() const { return color_.get(); }
    int width() const { return width_; }
    int height() const { return height_; }

    // Binds the frame buffer for drawing and sets the viewport to all of it.
    void bind() const;
    // The colour picture as top-down RGBA rows, width * height * 4 bytes.
    std::vector<unsigned char> readRgba() const;

private:
    int width_;
    int height_;
    Velda::GlName frameBuffer_;
    Velda::GlName color_;
    Velda::GlName depth_;
};

} // namespace VeldaRender
