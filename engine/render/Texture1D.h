#pragma once

#include "render/GlTexture.h"

namespace Velda {

// A 1D texture with nearest filtering, clamped: the colour ramp.
class Texture1D : public GlTexture {
public:
    Texture1D(int width, unsigned int format, unsigned int type, const void* data);
    Texture1D(Texture1D&&) noexcept = default;
    Texture1D& operator=(Texture1D&&) noexcept = default;

    void update(int x, int width, const void* data);
};

} // namespace Velda
