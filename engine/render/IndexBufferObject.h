#pragma once

#include <cstdint>

namespace Velda {

// A GL_ELEMENT_ARRAY_BUFFER of 16-bit indices, or 32-bit when wide.
class IndexBufferObject {
public:
    IndexBufferObject(uint32_t count, const void* data, bool wide);
    ~IndexBufferObject();
    IndexBufferObject(IndexBufferObject&& other) noexcept : buffer_(other.buffer_) { other.buffer_ = 0; }
    IndexBufferObject& operator=(IndexBufferObject&& other) noexcept;
    IndexBufferObject(const IndexBufferObject&) = delete;
    IndexBufferObject& operator=(const IndexBufferObject&) = delete;

    void update(uint32_t first, uint32_t count, const void* data, bool wide);
    unsigned int name() const { return buffer_; }

private:
    void destroy();

    unsigned int buffer_ = 0;
};

} // namespace Velda
