#include "TestImages.h"

#include <FreeImage.h>

#include <stdexcept>

namespace VeldaTest {

std::vector<unsigned char> encodeImage(ImageKind kind, int width, int height, int bitsPerPixel)
{
    FreeImage_Initialise(FALSE);
    FIBITMAP* bitmap = FreeImage_Allocate(width, height, bitsPerPixel);
    if (!bitmap)
        throw std::runtime_error("FreeImage_Allocate failed");
    if (bitsPerPixel == 8) {
        RGBQUAD* palette = FreeImage_GetPalette(bitmap);
        for (int i = 0; i < 256; ++i)
            palette[i].rgbRed = palette[i].rgbGreen = palette[i].rgbBlue = static_cast<BYTE>(i);
    }
    const int bytes = bitsPerPixel / 8;
    for (int y = 0; y < height; ++y) {
        BYTE* row = FreeImage_GetScanLine(bitmap, y);
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < bytes; ++c)
                row[x * bytes + c] = static_cast<BYTE>((x * 255 / (width > 1 ? width - 1 : 1)) * (c % 2) +
                                                       (y * 255 / (height > 1 ? height - 1 : 1)) * ((c + 1) % 2));
    }
    FREE_IMAGE_FORMAT format = FIF_JPEG;
    int flags = 0;
    switch (kind) {
    case ImageKind::Jpg: format = FIF_JPEG; flags = JPEG_QUALITYGOOD; break;
    case ImageKind::Png: format = FIF_PNG; break;
    case ImageKind::Tga: format = FIF_TARGA; break;
    case ImageKind::Gif: {
        format = FIF_GIF;
        FIBITMAP* quantized = bitsPerPixel == 24 ? FreeImage_ColorQuantize(bitmap, FIQ_WUQUANT) : nullptr;
        if (quantized) {
            FreeImage_Unload(bitmap);
            bitmap = quantized;
        }
        break;
    }
    }
    FIMEMORY* memory = FreeImage_OpenMemory();
    const bool saved = FreeImage_SaveToMemory(format, bitmap, memory, flags);
    FreeImage_Unload(bitmap);
    BYTE* data = nullptr;
    DWORD size = 0;
    if (!saved || !FreeImage_AcquireMemory(memory, &data, &size)) {
        FreeImage_CloseMemory(memory);
        throw std::runtime_error("FreeImage could not encode the test image");
    }
    std::vector<unsigned char> out(data, data + size);
    FreeImage_CloseMemory(memory);
    return out;
}

} // namespace VeldaTest
