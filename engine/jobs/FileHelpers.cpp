#include "jobs/FileHelpers.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unistd.h>

namespace Velda {

namespace {
char* emptyBuffer()
{
    return new char[1]{0};
}
} // namespace

bool fileSize(FILE* file, size_t& size)
{
    if (std::fseek(file, 0, SEEK_END) != 0)
        return false;
    const long end = std::ftell(file);
    if (end < 0 || std::fseek(file, 0, SEEK_SET) != 0)
        return false;
    size = static_cast<size_t>(end);
    return true;
}

std::pair<char*, size_t> readFile(const std::string& path)
{
    FileHandle file(std::fopen(path.c_str(), "rb"));
    size_t size = 0;
    if (!file || !fileSize(file.get(), size) || size == 0)
        return {emptyBuffer(), 0};
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

bool writeFileAtomically(const std::string& path, const void* data, size_t size)
{
    std::string temporary = path + ".partial-XXXXXX";
    const int fd = mkstemp(&temporary[0]);
    if (fd < 0)
        return false;
    FileHandle file(fdopen(fd, "wb"));
    if (!file) {
        close(fd);
        std::remove(temporary.c_str());
        return false;
    }
    const bool written = (size == 0 || std::fwrite(data, 1, size, file.get()) == size) &&
                         std::fflush(file.get()) == 0 && fsync(fileno(file.get())) == 0;
    const bool closed = std::fclose(file.release()) == 0;
    if (!written || !closed || std::rename(temporary.c_str(), path.c_str()) != 0) {
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

} // namespace Velda
