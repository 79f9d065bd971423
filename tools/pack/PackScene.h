#pragma once

#include "formats/ProjectProps.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace VeldaPack {

// A scene on its way into a project folder: placed objects, each with one
// mesh and one material, in the world of the viewer (right-handed, +z up).

struct PackMesh {
    std::string name;
    std::vector<float> positions;  // three per vertex, in the mesh's own space
    std::vector<float> normals;    // three per vertex
    std::vector<float> uvs;        // two per vertex; empty when the mesh has none
    std::vector<uint32_t> indices; // three per triangle

    uint32_t vertexCount() const { return static_cast<uint32_t>(positions.size() / 3); }
    uint64_t triangleCount() const { return indices.size() / 3; }
};

// Where a texture's pixels come from.
struct PackTexture {
    std::string name;                  // the file name wanted under texs/ (extension decided on writing)
    std::string path;                  // a file to read, or
    std::vector<unsigned char> bytes;  // an encoded image in memory
    // Or pixels drawn by the packer: BGRA rows, top row first.
    int width = 0, height = 0;
    std::vector<unsigned char> bgra;
};

struct PackMaterial {
    std::string name = "defultMat";
    float diffuse[3] = {0.7f, 0.7f, 0.7f};
    float alpha = 1.0f;
    bool blend = false;
    bool hasEmissive = false;
    float emissive[3] = {0, 0, 0};
    bool hasSpecular = false;
    float specular[3] = {1, 1, 1};
    bool hasGlossiness = false;
    float glossiness = 0.0f;
    int texture = -1;         // into PackScene::textures
    int uvSet = 0;
    float uvOffset[2] = {0, 0};
    float uvScale[2] = {1, 1};
    // How the texture's alpha counts: 0 not at all, 1 as a cut-out below
    // alphaCutoff, 2 blended. With 1 or 2 and a texture that has alpha, the
    // texture goes to channel 5, which gives colour and alpha.
    int alphaMode = 0;
    float alphaCutoff = 0.5f;
};

struct PackObject {
    std::string name;
    float matrix[16];         // object to world, columns contiguous
    uint32_t mesh = 0;
    uint32_t material = 0;
    float min[3], max[3];     // world-space box
    int32_t entry = -1;       // what it is in the source: into PackScene::entries
};

struct PackScene {
    std::vector<PackObject> objects;
    std::vector<PackMaterial> materials;
    std::vector<PackTexture> textures;
    uint32_t meshCount = 0;
    // Meshes are made when written, one at a time, so a large scene never
    // holds all its vertices at once.
    std::function<PackMesh(uint32_t)> mesh;
    uint32_t splitMeshes = 0;
    // The objects' identities and properties, written as the project's
    // `props`; metres per model unit, 0 when unknown.
    std::vector<Velda::PropsEntry> entries;
    double metresPerUnit = 0.0;
    std::string sourceUnit;
    std::string note;  // how the model was read, for the report line
};

} // namespace VeldaPack
