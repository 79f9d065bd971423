#pragma once

#include "PackProgress.h"
#include "PackScene.h"

#include <cstdint>
#include <string>

namespace VeldaPack {

struct PackOptions {
    uint64_t bundleBytes = 4u << 20;  // uncompressed cap of one bundle
    // The scene box written in the index; by default the union of the
    // objects' boxes. The viewer scales a scene by its diagonal, so a sky
    // sets its own.
    bool sceneBox = false;
    float sceneMin[3] = {0, 0, 0}, sceneMax[3] = {0, 0, 0};
    PackProgress progress;  // "write": textures, then the meshes one by one
};

struct PackReport {
    uint64_t objects = 0, surfaces = 0, meshes = 0, materials = 0, textures = 0, triangles = 0, bytes = 0;
    uint64_t bundlesMt = 0, bundlesMe = 0, splitMeshes = 0, texturesFailed = 0;
    uint64_t entries = 0;  // source objects described in props
    double seconds = 0;
    std::string note;      // how the model was read, when not the usual way
    std::string line() const;
};

// Writes a scene as a project folder: index, props (when the scene's objects
// have identities), <n>.mt, <n>.me and texs/. The
// folder is built under a temporary name and renamed at the end, so a
// failure leaves nothing behind. Meshes stream in the order of the largest
// object that uses them, so big shapes arrive first.
class ProjectWriter {
public:
    // Throws PackError; `folder` must not exist yet.
    static PackReport write(PackScene& scene, const std::string& folder, const PackOptions& options);
};

} // namespace VeldaPack
