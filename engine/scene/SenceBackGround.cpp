#include "scene/SenceBackGround.h"

#include "assets/AssetMaterial.h"
#include "assets/AssetMesh.h"
#include "formats/Geometry.h"
#include "formats/Material.h"
#include "scene/Camera.h"

namespace Velda {

void SenceBackGround::addSurface(int32_t meshId, int32_t materialId, const std::string& name)
{
    surfaces_.add(*this, meshId, materialId, name);
}

void SenceBackGround::setMaterial(AssetMaterial* asset)
{
    surfaces_.setMaterial(asset, [](RenderItem& item, Material& material) {
        material.setDepthWrite(false);  // the sky never hides anything
        item.noSky = false;
        item.sky = true;  // drawn in perspective whatever the camera
    });
}

void SenceBackGround::setMesh(AssetMesh* asset)
{
    surfaces_.setMesh(asset);
}

void SenceBackGround::collectRenderItems(RenderList& list)
{
    for (const auto& surface : surfaces_.surfaces()) {
        if (!surface->meshAsset || !surface->meshAsset->isReady() || !surface->materialAsset ||
            !surface->materialAsset->isReady())
            continue;
        RenderItem& item = *surfaces_.itemOf(surface.get());
        // The normal matrix is taken before the move; the sky never turns,
        // so the lag is harmless.
        item.normalMatrix = item.normalMatrixTwin = &getNormalMatrix();
        if (camera_)
            setPosition(camera_->getPosition());
        SurfaceSet::refresh(item, *this);
        SurfaceSet::takeColorRamp(item);
        list.push_back(&item);
    }
}

namespace {
const Geometry* geometryOf(const SurfaceSet& set)
{
    return set.meshAsset() ? set.meshAsset()->geometry() : nullptr;
}
} // namespace

uint32_t SenceBackGround::indexCount(const std::string& name) const
{
    const Geometry* geometry = geometryOf(surfaces_);
    if (!geometry)
        return 0;
    const auto it = geometry->indexCounts().find(name);
    return it == geometry->indexCounts().end() ? 0 : it->second;
}

const std::vector<unsigned char>* SenceBackGround::indexData(const std::string& name) const
{
    const Geometry* geometry = geometryOf(surfaces_);
    return geometry ? geometry->indexData(name) : nullptr;
}

const IndexBufferObject* SenceBackGround::indexBuffer(const std::string& name) const
{
    const Geometry* geometry = geometryOf(surfaces_);
    return geometry ? geometry->indexBuffer(name) : nullptr;
}

} // namespace Velda
