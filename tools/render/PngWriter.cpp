#include "PngWriter.h"

#include <FreeImage.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace VeldaRender {

namespace {

struct BitmapDeleter {
    void operator()(FIBITMAP* b) const { FreeImage_Unload(b); }
};
struct MemoryDeleter {
    void operator()(FIMEMORY* m) const { FreeImage_CloseMemory(m); }
};
struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};

std::runtime_error writeError(const std::string& path, int error)
{
    return std::runtime_error("cannot write " + path + ": " + std::strerror(error));
}

} // namespace

void writePng(const std::string& path, int width, int height, const std::vector<unsigned char>& rgba)
{
    if (width <= 0 || height <= 0 || rgba.size() != static_cast<size_t>(width) * static_cast<size_t>(height) * 4)
        throw std::runtime_error("picture of " + std::to_string(rgba.size()) + " bytes is not " +
                                 std::to_string(width) + "x" + std::to_string(height) + " RGBA");
    FreeImage_Initialise(FALSE);

    // FreeImage keeps 32-bit pixels as blue, green, red, alpha in memory.
    std::vector<unsigned char> bgra(rgba.size());
    for (size_t i = 0; i < rgba.size(); i += 4) {
        bgra[i + FI_RGBA_RED] = rgba[i];
        bgra[i + FI_RGBA_GREEN] = rgba[i + 1];
        bgra[i + FI_RGBA_BLUE] = rgba[i + 2];
        bgra[i + FI_RGBA_ALPHA] = 255;
    }
    std::unique_ptr<FIBITMAP, BitmapDeleter> bitmap(FreeImage_ConvertFromRawBits(
        bgra.data(), width, height, width * 4, 32, FI_RGBA_RED_MASK, FI_RGBA_GREEN_MASK, FI_RGBA_BLUE_MASK, TRUE));
    std::unique_ptr<FIMEMORY, MemoryDeleter> memory(FreeImage_OpenMemory());
    BYTE* bytes = nullptr;
    DWORD size = 0;
    if (!bitmap || !memory || !FreeImage_SaveToMemory(FIF_PNG, bitmap.get(), memory.get(), PNG_DEFAULT) ||
        !FreeImage_AcquireMemory(memory.get(), &bytes, &size))
        throw std::runtime_error("cannot encode the picture as PNG");

    // The file is opened here rather than by FreeImage, so that a failure
    // can say why.
    std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
    if (!file)
        throw writeError(path, errno);
    if (std::fwrite(bytes, 1, size, file.get()) != size)
        throw writeError(path, errno);
    if (std::fclose(file.release()) != 0)
        throw writeError(path, errno);
}

} // namespace VeldaRender
