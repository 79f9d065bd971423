#include "scene/SurfaceSet.h"

#include "assets/AssetManager.h"
#include "assets/AssetMaterial.h"
#include "assets/AssetMesh.h"
#include "formats/Geometry.h"
#include "formats/Material.h"
#include "scene/Object3D.h"

namespace Velda {

void SurfaceSet::add(Object3D& owner, int32_t meshId, int32_t materialId, const std::string& name)
{
    auto surface = std::make_unique<Surface>();
    surface->meshId = meshId;
    surface->materialId = materialId;
    surface->name = name;
    auto item = std::make_unique<RenderItem>();
    item->normalMatrix = item->normalMatrixTwin = &owner.getNormalMatrix();
    item->transform = item->transformTwin = &owner.getTransform();
    item->castShadow = owner.getCastShadow();
    items_.emplace(surface.get(), std::move(item));
    surfaces_.push_back(std::move(surface));
}

void SurfaceSet::setMesh(AssetMesh* asset)
{
    meshAsset_ = asset;
    for (auto& surface : surfaces_)
        surface->meshAsset = asset;
    Geometry* geometry = asset ? asset->geometry() : nullptr;
    if (!geometry)
        return;
    for (auto& entry : items_) {
        RenderItem& item = *entry.second;
        const std::string& name = entry.first->name;
        item.layout = &geometry->getLayout();
        item.indexBuffer = geometry->indexBuffer(name);
        item.indexData = geometry->indexData(name);
        const auto width = geometry->indexWidths().find(name);
        item.indexWidth = width == geometry->indexWidths().end() ? 0 : width->second;
        item.firstIndex = 0;
        const auto count = geometry->indexCounts().find(name);
        item.indexCount = count == geometry->indexCounts().end() ? 0 : count->second;
    }
}

void SurfaceSet::setMaterial(AssetMaterial* asset, const std::function<void(RenderItem&, Material&)>& rule)
{
    // The last material to name the drawable covers all its surfaces.
    materialAsset_ = asset;
    for (auto& surface : surfaces_)
        surface->materialAsset = asset;
    Material* material = asset ? asset->material() : nullptr;
    if (!material)
        return;
    for (auto& surface : surfaces_) {
        RenderItem& item = *items_.at(surface.get());
        rule(item, *material);
        item.material = material;
        item.bump = material->getBump();
        fillTextureMacros(item, *material);
    }
}

void SurfaceSet::refresh(RenderItem& item, Object3D& owner)
{
    item.normalMatrix = item.normalMatrixTwin = &owner.getNormalMatrix();
    item.transform = item.transformTwin = &owner.getTransform();
    item.castShadow = owner.getCastShadow();
    item.box = &owner.getBox();
}

void SurfaceSet::fillTextureMacros(RenderItem& item, Material& material)
{
    for (int k = 0; k < RenderItem::kChannels; ++k) {
        const std::string name = material.getTexture(k);
        item.macroNames[k].clear();
        item.macroValues[k].clear();
        if (material.getReflective() && k == 3) {
            // The reflection switch alone makes the cube: channel 3 never
            // comes from a texture name.
            item.macroNames[k] = "UNI_TEX_3_UV";
            item.macroValues[k] = "0";
        } else if (!name.empty() && k != 3) {
            item.macroNames[k] = "UNI_TEX_" + std::to_string(k) + "_UV";
            item.macroValues[k] = "v_UV" + std::to_string(material.getUvSet(k));
        }
    }
}

bool SurfaceSet::takeColorRamp(RenderItem& item)
{
    static const std::string ramp = "SkyResources/img/color.lt";
    AssetManager* manager = AssetManager::instance();
    Asset* asset = manager ? manager->load(ramp, Callback()) : nullptr;
    if (item.colorRamp || !asset || !asset->isReady())
        return false;
    item.colorRamp = true;
    item.macrosReady = false;
    return true;
}

RenderItem* SurfaceSet::itemOf(const Surface* surface) const
{
    const auto it = items_.find(surface);
    return it == items_.end() ? nullptr : it->second.get();
}

} // namespace Velda
