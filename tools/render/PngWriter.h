#pragma once

#include <string>
#include <vector>

namespace VeldaRender {

// Writes top-down RGBA8 rows (width * height * 4 bytes) as an opaque PNG:
// every alpha is written as 255. The same pixels give the same bytes.
// Throws std::runtime_error with a one-line reason when the size does not
// match or the file cannot be written.
void writePng(const std::string& path, int width, int height, const std::vector<unsigned char>& rgba);

} // namespace VeldaRender
