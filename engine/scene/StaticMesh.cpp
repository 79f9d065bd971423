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
    // The last material to name this object covers all its surfaces.
    surfaces_.setMaterialAsset(asset);
    Material* material = asset ? asset->material() : nullptr;
    if (!material)
        return;
    for (const auto& surface : surfaces_.surfaces()) {
        RenderItem& item = *surfaces_.itemOf(surface.get());
        if (namesWater(material->getName())) {
            material->setSpecularLevel(0.5f);
            item.water = true;
        } else if (noReflection_) {
            material->setSpecularLevel(0.0f);
        }
        item.material = material;
        item.bump = material->getBump();
        SurfaceSet::fillTextureMacros(item, *material);
    }
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
        item.normalMatrix = item.normalMatrixTwin = &getNormalMatrix();
        item.transform = item.transformTwin = &getTransform();
        item.castShadow = getCastShadow();
        item.box = &getBox();
        SurfaceSet::takeColorRamp(item);
        list.push_back(&item);
    }
}

} // namespace Velda
