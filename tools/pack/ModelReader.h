#pragma once

#include "PackScene.h"

#include <string>

namespace VeldaPack {

enum class UpAxis { FromFormat, Y, Z };

struct ReadOptions {
    UpAxis up = UpAxis::FromFormat;
    // A mesh whose document would be larger is split into parts.
    uint64_t bundleBytes = 4u << 20;
};

// Reads a model file through the model importer: every node's triangle
// meshes become objects (one mesh, one material each) with the node's world
// placement, turned to +z up. Throws PackError with a one-line reason for
// unreadable, empty or unsupported input.
PackScene readModel(const std::string& path, const ReadOptions& options);

// Whether a file's format is y-up by default (most are; STL and PLY are z-up).
bool isYUpFormat(const std::string& path);

// The importer's flags; a test that counts what the importer reports uses
// the same.
unsigned importFlags();

} // namespace VeldaPack
