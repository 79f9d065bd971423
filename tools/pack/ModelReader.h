#pragma once

#include "PackProgress.h"
#include "PackScene.h"

#include <string>

namespace VeldaPack {

enum class UpAxis { FromFormat, Y, Z };

struct ReadOptions {
    UpAxis up = UpAxis::FromFormat;
    // A mesh whose document would be larger is split into parts.
    uint64_t bundleBytes = 4u << 20;
    // IFC: draw spaces; refuse larger files; geometry workers (0: a core each).
    bool spaces = false;
    uint64_t maxIfcBytes = 2048ull << 20;
    unsigned processes = 0;
    PackProgress progress;  // how far reading has come
};

// Reads a model file: IFC through the IFC reader (the model importer when
// that fails and the importer succeeds, said in `note`), every other format
// through the model importer: every node's triangle meshes become objects
// (one mesh, one material each) with the node's world placement, turned to
// +z up, each with its node's path, name and metadata as its identity.
// Throws PackError with a one-line reason for unreadable, empty or
// unsupported input.
PackScene readModel(const std::string& path, const ReadOptions& options);

// Whether a file's format is y-up by default for the model importer (most
// are; STL and PLY are z-up). The IFC reader gives +z up itself.
bool isYUpFormat(const std::string& path);

// The importer's flags; a test that counts what the importer reports uses
// the same.
unsigned importFlags();

} // namespace VeldaPack
