#pragma once

namespace Velda {

// One GL object name and the duty to delete it: move-only, empty when 0.
// Made in one step by the make functions below (GL thread only).
class GlName {
public:
    enum Kind { kTexture, kFramebuffer, kRenderbuffer, kBuffer };

    GlName() = default;
    GlName(Kind kind, unsigned int name) : kind_(kind), name_(name) {}
    ~GlName() { reset(); }
    GlName(GlName&& other) noexcept : kind_(other.kind_), name_(other.name_) { other.name_ = 0; }
    GlName& operator=(GlName&& other) noexcept;
    GlName(const GlName&) = delete;
    GlName& operator=(const GlName&) = delete;

    unsigned int get() const { return name_; }
    explicit operator bool() const { return name_ != 0; }
    // Deletes the object, if any, and leaves the owner empty.
    void reset();

    static GlName makeTexture();
    static GlName makeFramebuffer();
    static GlName makeRenderbuffer();

private:
    Kind kind_ = kTexture;
    unsigned int name_ = 0;
};

} // namespace Velda
