#pragma once

namespace Velda {

// A cube map from six faces in the order +x, -x, +y, -y, +z, -z.
class TextureCube {
public:
    TextureCube(const int widths[6], const int heights[6], const void* const pixels[6], unsigned int format,
                unsigned int type);
    ~TextureCube();
    TextureCube(TextureCube&& other) noexcept;
    TextureCube& operator=(TextureCube&& other) noexcept;
    TextureCube(const TextureCube&) = delete;
    TextureCube& operator=(const TextureCube&) = delete;

    void update(const int widths[6], const int heights[6], const void* const pixels[6]);
    unsigned int name() const { return texture_; }

private:
    void destroy();

    unsigned int texture_ = 0;
    unsigned int format_;
    unsigned int type_;
};

} // namespace Velda
