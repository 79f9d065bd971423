#pragma once

namespace Velda {

// The name of a texture of one target with its pixel format, owned: the
// shared half of the texture wrappers. Move-only; a moved-from object owns
// nothing and its destroy does nothing.
class GlTexture {
public:
    unsigned int name() const { return texture_; }
    unsigned int format() const { return format_; }
    unsigned int type() const { return type_; }

protected:
    GlTexture(unsigned int target, unsigned int format, unsigned int type);
    ~GlTexture();
    GlTexture(GlTexture&& other) noexcept;
    GlTexture& operator=(GlTexture&& other) noexcept;
    GlTexture(const GlTexture&) = delete;
    GlTexture& operator=(const GlTexture&) = delete;

    // Generates the name and binds it to the target.
    void generate();

    unsigned int texture_ = 0;
    unsigned int target_;
    unsigned int format_;
    unsigned int type_;

private:
    // Unbinds, deletes the name, disables the target.
    void destroy();
};

} // namespace Velda
