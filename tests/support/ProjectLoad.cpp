#include "ProjectLoad.h"

#include "Common/IndexInfo.h"
#include "assets/AssetBinary.h"
#include "assets/AssetMaterial.h"
#include "assets/AssetMesh.h"

namespace VeldaTest {

using Velda::Asset;

void requestProject(Velda::AssetManager& manager, const std::string& indexAddress, const std::string& projectRoot,
                    LoadedProject& loaded)
{
    manager.loadBinary(indexAddress, [&manager, projectRoot, &loaded](void* argument) {
        auto* index = static_cast<Velda::AssetBinary*>(Asset::fromCallbackArgument(argument));
        const VeldaClient::IndexInfo info(index->data(), index->dataSize());
        manager.setExpectedCount(static_cast<uint32_t>(info.materialFiles().size() + info.meshFiles().size()));
        for (const std::string& name : info.materialFiles())
            manager.load(projectRoot + name + ".mt", [&loaded](void* a) {
                loaded.materials.push_back(static_cast<Velda::AssetMaterial*>(Asset::fromCallbackArgument(a)));
                return nullptr;
            });
        for (const std::string& name : info.meshFiles())
            manager.load(projectRoot + name + ".me", [&loaded](void* a) {
                loaded.meshes.push_back(static_cast<Velda::AssetMesh*>(Asset::fromCallbackArgument(a)));
                return nullptr;
            });
        return nullptr;
    });
}

} // namespace VeldaTest
