#include "scene/StaticMesh.h"

#include "assets/AssetMaterial.h"
#include "assets/AssetMesh.h"
#include "formats/Material.h"

namespace Velda {

namespace {
// 水 in UTF-8: a material so named is water.
bool namesWater(const std::string& name)
{
    return name.find("\xE6\xB0\xB4") != std::string::npos;
}
} // namespace

void StaticMesh::addSurface(int32_t meshId, int32_t materialId, const std::string& name)
{
    surfaces_.add(*this, meshId, materialId, name);
}

void StaticMesh::setMaterial(AssetMaterial* asset)
{
    // The specular level is written into the shared material, so every user
    // of it sees it.
    surfaces_.setMaterial(asset, [this](RenderItem& item, Material& material) {
        if (namesWater(material.getName())) {
            material.setSpecularLevel(0.5f);
            item.water = true;
        } else if (noReflection_) {
            material.setSpecularLevel(0.0f);
        }
    });
}

void StaticMesh::setMesh(AssetMesh* asset)
{
    surfaces_.setMesh(asset);
}

void StaticMesh::collectRenderItems(RenderList& list)
{
    for (const auto& surface : surfaces_.surfaces()) {
        if (!surface->meshAsset || !surface->meshAsset->isReady())
            continue;
        RenderItem& item = *surfaces_.itemOf(surface.get());
        item.noMaterial = !surface->materialAsset || !surface->materialAsset->material();
        SurfaceSet::refresh(item, *this);
        item.objectIndex = sceneIndex_;
        SurfaceSet::takeColorRamp(item);
        list.push_back(&item);
    }
}

} // namespace Velda
