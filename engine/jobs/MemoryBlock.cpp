#include "jobs/MemoryBlock.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Velda {

MemoryBlock makeMemoryBlock()
{
    MemoryBlock block;
    block.bytes = static_cast<char*>(std::calloc(4, 1));
    block.size = 0;
    return block;
}

size_t memorySink(void* contents, size_t size, size_t count, void* user)
{
    MemoryBlock* block = static_cast<MemoryBlock*>(user);
    const size_t n = size * count;
    if (n == 0)
        return 0;
    // The size is 32-bit; refuse to wrap it.
    char* grown = n > UINT32_MAX - 1u - block->size
                      ? nullptr
                      : static_cast<char*>(std::realloc(block->bytes, block->size + n + 1));
    if (grown == nullptr) {
        std::printf("not enough memory (realloc returned NULL)\n");
        return 0;
    }
    block->bytes = grown;
    std::memcpy(block->bytes + block->size, contents, n);
    block->size += static_cast<uint32_t>(n);
    block->bytes[block->size] = 0;
    return n;
}

MemoryBlockOwner::~MemoryBlockOwner()
{
    std::free(block_.bytes);
    block_.bytes = nullptr;
    block_.size = 0;
}

} // namespace Velda
