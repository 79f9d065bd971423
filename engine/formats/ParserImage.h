#pragma once

#include "formats/Parser.h"

namespace Velda {

class AssetTexture2D;

// Decodes GIF, JPG, PNG or TGA from memory with FreeImage, on the worker
// thread. The rows stay as FreeImage gives them (bottom row first, blue
// before red, rows padded to four bytes, which is GL's default unpack
// alignment) and a texture object is described for the upload on the GL
// thread. A header is read before the pixels, so an image that claims an
// absurd size is refused without decoding it.
class ParserImage : public Parser {
public:
    // Largest side and pixel count accepted.
    static const unsigned kMaxSide = 16384;
    static const unsigned long long kMaxPixels = 64ull * 1024 * 1024;

    bool parse(const void* bytes, uint32_t size, Asset* asset, int useMipmaps) override;

protected:
    explicit ParserImage(int freeImageFormat) : format_(freeImageFormat) {}
    // The GL pixel format for a bit depth; false: no texture for this depth.
    // By default 24 bits BGR and 32 bits BGRA only.
    virtual bool glFormatFor(unsigned bitsPerPixel, unsigned& glFormat) const;
    // Whether this kind is mip-mapped whatever the asset asks.
    virtual bool alwaysMipmapped() const { return false; }
    // Depth the bitmap is converted to before use; 0 keeps it.
    virtual unsigned convertTo() const { return 0; }

private:
    int format_;
};

// GIF decodes to palette indices; it is expanded to 24 bits, so the upload
// never reads past the rows.
class ParserGIF : public ParserImage {
public:
    ParserGIF();

protected:
    bool alwaysMipmapped() const override { return true; }
    unsigned convertTo() const override { return 24; }
};

// 24 bits BGR, 32 bits BGRA, any other depth (greyscale) luminance.
class ParserJPG : public ParserImage {
public:
    ParserJPG();

protected:
    bool glFormatFor(unsigned bitsPerPixel, unsigned& glFormat) const override;
};

// 24 or 32 bits only; any other depth gives no texture.
class ParserPNG : public ParserImage {
public:
    ParserPNG();
};

// 24 or 32 bits only, always mip-mapped.
class ParserTGA : public ParserImage {
public:
    ParserTGA();

protected:
    bool alwaysMipmapped() const override { return true; }
};

// Recognises DXT1, DXT3 and DXT5 files and measures their data; the upload
// of DDS is not part of the system, so no texture results.
class ParserDDS : public Parser {
public:
    struct Record {
        unsigned internalFormat = 0;
        uint32_t width = 0;
        uint32_t height = 0;
        uint32_t mipmaps = 0;
        uint32_t dataSize = 0;
    };

    bool parse(const void* bytes, uint32_t size, Asset* asset, int flag) override;
    const Record& record() const { return record_; }

private:
    Record record_;
};

} // namespace Velda
