#include "formats/ParserImage.h"

#include "assets/AssetTexture2D.h"
#include "log/Log.h"

#include <GL/glew.h>
#include <FreeImage.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace Velda {

namespace {

struct MemoryCloser {
    void operator()(FIMEMORY* m) const { FreeImage_CloseMemory(m); }
};
struct BitmapUnloader {
    void operator()(FIBITMAP* b) const { FreeImage_Unload(b); }
};
using Memory = std::unique_ptr<FIMEMORY, MemoryCloser>;
using Bitmap = std::unique_ptr<FIBITMAP, BitmapUnloader>;

// Word n (from 1) of the DDS header, which follows the four magic bytes.
uint32_t headerWord(const unsigned char* p, int n)
{
    uint32_t v;
    std::memcpy(&v, p + 4 + 4 * (n - 1), 4);
    return v;
}

} // namespace

ParserGIF::ParserGIF() : ParserImage(FIF_GIF) {}
ParserJPG::ParserJPG() : ParserImage(FIF_JPEG) {}
ParserPNG::ParserPNG() : ParserImage(FIF_PNG) {}
ParserTGA::ParserTGA() : ParserImage(FIF_TARGA) {}

bool ParserImage::glFormatFor(unsigned bits, unsigned& glFormat) const
{
    if (bits != 24 && bits != 32)
        return false;
    glFormat = bits == 24 ? GL_BGR : GL_BGRA;
    return true;
}

bool ParserJPG::glFormatFor(unsigned bits, unsigned& glFormat) const
{
    if (!ParserImage::glFormatFor(bits, glFormat))
        glFormat = GL_LUMINANCE;
    return true;
}

bool ParserImage::parse(const void* bytes, uint32_t size, Asset* asset, int useMipmaps)
{
    AssetTexture2D* target = static_cast<AssetTexture2D*>(asset);
    if (target->isReady())
        return true;
    if (!bytes || size == 0)
        return false;
    Memory memory(FreeImage_OpenMemory(static_cast<BYTE*>(const_cast<void*>(bytes)), size));
    if (!memory)
        return false;
    const FREE_IMAGE_FORMAT format = static_cast<FREE_IMAGE_FORMAT>(format_);
    {
        Bitmap header(FreeImage_LoadFromMemory(format, memory.get(), FIF_LOAD_NOPIXELS));
        if (!header)
            return false;
        const unsigned w = FreeImage_GetWidth(header.get()), h = FreeImage_GetHeight(header.get());
        if (w == 0 || h == 0 || w > kMaxSide || h > kMaxSide || static_cast<unsigned long long>(w) * h > kMaxPixels) {
            VLOG << "Image " << target->path() << " claims " << w << " x " << h << "; refused";
            return false;
        }
        FreeImage_SeekMemory(memory.get(), 0, SEEK_SET);
    }
    Bitmap bitmap(FreeImage_LoadFromMemory(format, memory.get(), 0));
    if (bitmap && convertTo() == 24 && FreeImage_GetBPP(bitmap.get()) != 24)
        bitmap.reset(FreeImage_ConvertTo24Bits(bitmap.get()));
    const BYTE* bits = bitmap ? FreeImage_GetBits(bitmap.get()) : nullptr;
    if (!bits)
        return false;
    const unsigned bpp = FreeImage_GetBPP(bitmap.get());
    const unsigned width = FreeImage_GetWidth(bitmap.get());
    const unsigned height = FreeImage_GetHeight(bitmap.get());
    if (width == 0 || height == 0)
        return false;

    const size_t bytesTotal = static_cast<size_t>(FreeImage_GetPitch(bitmap.get())) * height;
    unsigned char* pixels = static_cast<unsigned char*>(std::malloc(bytesTotal));
    if (!pixels)
        return false;
    std::memcpy(pixels, bits, bytesTotal);
    unsigned glFormat = 0;
    if (!glFormatFor(bpp, glFormat))
        glFormat = 0;
    target->setImage(pixels, static_cast<int>(width), static_cast<int>(height), bpp, glFormat,
                     alwaysMipmapped() || useMipmaps != 0);
    return true;
}

bool ParserDDS::parse(const void* bytes, uint32_t size, Asset*, int)
{
    const unsigned char* p = static_cast<const unsigned char*>(bytes);
    if (!p || size < 128)
        return false;
    if (std::memcmp(p, "DDS ", 4) != 0)
        return false;
    record_.height = headerWord(p, 3);
    record_.width = headerWord(p, 4);
    const uint32_t linearSize = headerWord(p, 5);
    record_.mipmaps = headerWord(p, 7);
    const std::string fourCC(reinterpret_cast<const char*>(p) + 4 + 4 * 20, 4);
    unsigned factor = 4;
    if (fourCC == "DXT1") {
        record_.internalFormat = GL_COMPRESSED_RGBA_S3TC_DXT1_EXT;
        factor = 2;
    } else if (fourCC == "DXT3") {
        record_.internalFormat = GL_COMPRESSED_RGBA_S3TC_DXT3_EXT;
    } else if (fourCC == "DXT5") {
        record_.internalFormat = GL_COMPRESSED_RGBA_S3TC_DXT5_EXT;
    } else {
        return false;
    }
    const uint64_t wanted = record_.mipmaps > 1 ? static_cast<uint64_t>(linearSize) * factor : linearSize;
    // The record copies that many bytes from the file's start; a file
    // shorter than that is refused instead of read past.
    if (wanted > size)
        return false;
    record_.dataSize = static_cast<uint32_t>(wanted);
    return true;
}

} // namespace Velda
