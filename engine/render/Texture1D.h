#pragma once

namespace Velda {

// A 1D texture with nearest filtering, clamped: the colour ramp.
class Texture1D {
public:
    Texture1D(int width, unsigned int format, unsigned int type, const void* data);
    ~Texture1D();
    Texture1D(Texture1D&& other) noexcept;
    Texture1D& operator=(Texture1D&& other) noexcept;
    Texture1D(const Texture1D&) = delete;
    Texture1D& operator=(const Texture1D&) = delete;

    void update(int x, int width, const void* data);
    unsigned int name() const { return texture_; }

private:
    void destroy();

    unsigned int texture_ = 0;
    unsigned int format_;
    unsigned int type_;
};

} // namespace Velda
