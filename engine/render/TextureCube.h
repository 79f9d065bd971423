#pragma once

#include "render/GlTexture.h"

namespace Velda {

// A cube map from six faces in the order +x, -x, +y, -y, +z, -z.
class TextureCube : public GlTexture {
public:
    TextureCube(const int widths[6], const int heights[6], const void* const pixels[6], unsigned int format,
                unsigned int type);
    TextureCube(TextureCube&&) noexcept = default;
    TextureCube& operator=(TextureCube&&) noexcept = default;

    void update(const int widths[6], const int heights[6], const void* const pixels[6]);
};

} // namespace Velda
