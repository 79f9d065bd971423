#pragma once

#include "render/GlName.h"

namespace Velda {

// How a pass's colour texture and depth buffer are made.
struct TargetLayout {
    int width = 0;
    int height = 0;
    int internalFormat = 0;
    unsigned int format = 0;
    unsigned int type = 0;
    int filter = 0;        // 0: GL's default filters
    int wrap = 0;          // 0: GL's default wrap
    bool border = false;   // border colour 1, 1, 1, 0
    unsigned int depthFormat = 0;  // 0: no depth buffer

    // A float colour target of the passes.
    static TargetLayout floatColor(int width, int height, int internalFormat, unsigned int format, int filter,
                                 int wrap, bool border, unsigned int depthFormat);
};

// A frame buffer with one colour texture and an optional depth render
// buffer, made in one step in the pattern every pass shares. Move-only;
// the three names go with it.
struct RenderTarget {
    GlName frameBuffer;
    GlName texture;
    GlName depth;

    // Leaves `rebind` bound afterwards (the renderer's frame buffer).
    static RenderTarget make(const TargetLayout& layout, unsigned int rebind);

    explicit operator bool() const { return static_cast<bool>(frameBuffer); }
    void reset();
    unsigned int fbo() const { return frameBuffer.get(); }
    unsigned int tex() const { return texture.get(); }
};

} // namespace Velda
