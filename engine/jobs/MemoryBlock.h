#pragma once

#include <cstddef>
#include <cstdint>

namespace Velda {

// The result of a transfer into memory. `bytes` comes from malloc, is always
// one byte longer than `size` and zero-terminated; the receiver frees it with
// free().
struct MemoryBlock {
    char* bytes = nullptr;
    uint32_t size = 0;
};

// A fresh block for a transfer: four zeroed bytes, size 0, so a transfer that
// fails leaves a valid, empty, terminated block.
MemoryBlock makeMemoryBlock();

// libcurl write callback: appends size * count bytes to the MemoryBlock given
// as user data and keeps it zero-terminated. Returns 0 (which stops the
// transfer) when memory runs out or the block would pass 4 GiB.
size_t memorySink(void* contents, size_t size, size_t count, void* user);

// Frees a block's bytes at the end of a scope, whatever they were grown to.
class MemoryBlockOwner {
public:
    explicit MemoryBlockOwner(MemoryBlock& block) : block_(block) {}
    ~MemoryBlockOwner();
    MemoryBlockOwner(const MemoryBlockOwner&) = delete;
    MemoryBlockOwner& operator=(const MemoryBlockOwner&) = delete;

private:
    MemoryBlock& block_;
};

} // namespace Velda
