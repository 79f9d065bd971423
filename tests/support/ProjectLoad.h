#pragma once

#include "assets/AssetManager.h"

#include <string>
#include <vector>

namespace Velda {
class AssetMaterial;
class AssetMesh;
}

namespace VeldaTest {

// Mesh and material children as their bundles hand them over.
struct LoadedProject {
    std::vector<Velda::AssetMaterial*> materials;
    std::vector<Velda::AssetMesh*> meshes;
};

// Requests a project's index as the start does: when it arrives, the
// expected count is set and the material bundles, then the mesh bundles,
// are queued below `projectRoot`. `loaded` must outlive the loading.
void requestProject(Velda::AssetManager& manager, const std::string& indexAddress, const std::string& projectRoot,
                    LoadedProject& loaded);

} // namespace VeldaTest
