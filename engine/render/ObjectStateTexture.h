#pragma once

#include "render/GlName.h"

#include <cstddef>
#include <cstdint>

namespace Velda {

class ReviewState;

// The review state as the shaders read it: one RGBA texel per object (red
// hidden, green selected), kRowTexels to a row, texel 0 for "no object".
// Uploaded only when the state or the number of objects changed. GL thread.
class ObjectStateTexture {
public:
    static const int kRowTexels = 1024;  // a power of two: the shader's division is exact

    // Makes or refreshes the texture for `objects` objects.
    void update(const ReviewState& state, size_t objects);

    unsigned int name() const { return texture_.get(); }
    int width() const { return kRowTexels; }
    int height() const { return rows_; }

private:
    GlName texture_;
    int rows_ = 0;
    size_t objects_ = 0;
    uint64_t version_ = 0;
};

} // namespace Velda
