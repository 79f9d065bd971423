#pragma once

#include "render/GlTexture.h"

namespace Velda {

// A 2D texture, made and filled in one step on the GL thread. The pixels
// are read during construction and not kept.
class Texture2D : public GlTexture {
public:
    Texture2D(int width, int height, unsigned int format, unsigned int type, const void* pixels, bool mipmapped);
    Texture2D(Texture2D&&) noexcept = default;
    Texture2D& operator=(Texture2D&&) noexcept = default;

    void update(int x, int y, int width, int height, int level, const void* pixels);
    int width() const { return width_; }
    int height() const { return height_; }
    bool mipmapped() const { return mipmapped_; }

private:
    int width_;
    int height_;
    bool mipmapped_;
};

} // namespace Velda
