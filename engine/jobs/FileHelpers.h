#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

namespace Velda {

// A FILE* closed when it goes out of scope.
struct FileCloser {
    void operator()(FILE* f) const
    {
        if (f)
            std::fclose(f);
    }
};
using FileHandle = std::unique_ptr<FILE, FileCloser>;

// The size of an open file, which is left at its start; false when the
// stream cannot seek.
bool fileSize(FILE* file, size_t& size);

// Reads a whole file. The pointer comes from new[] (release with delete[]),
// is never null, and holds a zero byte behind the data. A file that cannot be
// read gives size 0.
std::pair<char*, size_t> readFile(const std::string& path);

// Writes a buffer to a file in binary mode, replacing former content. Returns
// false when the file could not be written whole.
bool writeFile(const std::string& path, const void* data, size_t size);

// The same for the bytes of a string.
bool writeTextFile(const std::string& path, const std::string& text);

// Writes a temporary file beside the target, flushes it to the disk and
// renames it over the target: readers see the old content or the new one,
// never a mix. Safe from several threads at once.
bool writeFileAtomically(const std::string& path, const void* data, size_t size);

} // namespace Velda
