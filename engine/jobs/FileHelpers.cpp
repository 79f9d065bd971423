#include "jobs/FileHelpers.h"

#include <cstdio>
#include <memory>

namespace Velda {

namespace {
char* emptyBuffer()
{
    return new char[1]{0};
}
} // namespace

std::pair<char*, size_t> readFile(const std::string& path)
{
    FileHandle file(std::fopen(path.c_str(), "rb"));
    if (!file)
        return {emptyBuffer(), 0};
    if (std::fseek(file.get(), 0, SEEK_END) != 0)
        return {emptyBuffer(), 0};
    const long end = std::ftell(file.get());
    if (end <= 0 || std::fseek(file.get(), 0, SEEK_SET) != 0)
        return {emptyBuffer(), 0};
    const size_t size = static_cast<size_t>(end);
    char* buffer = new char[size + 1];
    const size_t got = std::fread(buffer, 1, size, file.get());
    buffer[got] = 0;
    return {buffer, got};
}

bool writeFile(const std::string& path, const void* data, size_t size)
{
    FileHandle file(std::fopen(path.c_str(), "wb"));
    if (!file)
        return false;
    const bool ok = size == 0 || std::fwrite(data, 1, size, file.get()) == size;
    return std::fclose(file.release()) == 0 && ok;
}

bool writeTextFile(const std::string& path, const std::string& text)
{
    return writeFile(path, text.data(), text.size());
}

} // namespace Velda
