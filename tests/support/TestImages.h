#pragma once

#include <string>
#include <vector>

namespace VeldaTest {

enum class ImageKind { Jpg, Png, Tga, Gif };

// An image file's bytes, encoded by FreeImage: a smooth colour pattern of
// the given size and bit depth (8 is greyscale).
std::vector<unsigned char> encodeImage(ImageKind kind, int width, int height, int bitsPerPixel);

} // namespace VeldaTest
