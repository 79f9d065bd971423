#pragma once

#include "scene/Matrix4.h"

#include <cstdint>
#include <string>

namespace Velda {

class AssetMaterial;
class AssetMesh;

// One named index set of a mesh with the material that covers it.
struct Surface {
    AssetMesh* meshAsset = nullptr;
    AssetMaterial* materialAsset = nullptr;
    int32_t meshId = 0;
    int32_t materialId = 0;
    std::string name;  // key of the index set in the mesh
    Matrix4 matrix;    // identity; nothing reads it
};

} // namespace Velda
