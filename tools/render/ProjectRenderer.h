#pragma once
#include "RenderOptions.h"
#include "RenderReport.h"
#include <cstdint>
#include <vector>
namespace VeldaRender {
// Loads the project and draws one picture (or options.frames) of
// options.width x options.height; returns top-down RGBA rows. Throws
// std::runtime_error with a one-line reason (missing folder, unreadable
// index, ...). Needs a current GL context with GLEW set up.
std::vector<unsigned char> renderProject(const RenderOptions& options, RenderReport& report);
}
