#pragma once

namespace Velda {

// A 2D texture described off the GL thread (the constructor makes no GL call,
// so a decoder on the worker can build it) and created on the GL thread.
// The pixels belong to the caller and must live until create().
class Texture2D {
public:
    Texture2D(int width, int height, unsigned int format, unsigned int type, const void* pixels, bool mipmapped);
    ~Texture2D();
    Texture2D(const Texture2D&) = delete;
    Texture2D& operator=(const Texture2D&) = delete;

    // Generates and fills the GL texture; a second call does nothing.
    void create();
    void update(int x, int y, int width, int height, int level, const void* pixels);
    unsigned int name() const { return texture_; }
    bool created() const { return texture_ != 0; }
    int width() const { return width_; }
    int height() const { return height_; }
    unsigned int format() const { return format_; }
    unsigned int type() const { return type_; }
    bool mipmapped() const { return mipmapped_; }

private:
    int width_;
    int height_;
    unsigned int texture_ = 0;
    unsigned int format_;
    unsigned int type_;
    const void* pixels_;
    bool mipmapped_;
};

} // namespace Velda
