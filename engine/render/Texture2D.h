#pragma once

namespace Velda {

// A 2D texture, made and filled in one step on the GL thread. The pixels
// are read during construction and not kept.
class Texture2D {
public:
    Texture2D(int width, int height, unsigned int format, unsigned int type, const void* pixels, bool mipmapped);
    ~Texture2D();
    Texture2D(Texture2D&& other) noexcept;
    Texture2D& operator=(Texture2D&& other) noexcept;
    Texture2D(const Texture2D&) = delete;
    Texture2D& operator=(const Texture2D&) = delete;

    void update(int x, int y, int width, int height, int level, const void* pixels);
    unsigned int name() const { return texture_; }
    int width() const { return width_; }
    int height() const { return height_; }
    unsigned int format() const { return format_; }
    unsigned int type() const { return type_; }
    bool mipmapped() const { return mipmapped_; }

private:
    void destroy();

    int width_;
    int height_;
    unsigned int texture_ = 0;
    unsigned int format_;
    unsigned int type_;
    bool mipmapped_;
};

} // namespace Velda
