#pragma once

#include "scene/Object3D.h"
#include "scene/SurfaceSet.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Velda {

class AssetMaterial;
class AssetMesh;
class Camera;
class IndexBufferObject;

// The sky: a drawable that moves to the camera every frame so that it keeps
// its distance. Its materials never write depth and it draws in
// perspective whatever the camera's projection.
class SenceBackGround : public Object3D {
public:
    ~SenceBackGround() override = default;

    void setCamera(Camera* camera) { camera_ = camera; }
    Camera* getCamera() const { return camera_; }

    void addSurface(int32_t meshId, int32_t materialId, const std::string& name);
    void setMaterial(AssetMaterial* asset);
    void setMesh(AssetMesh* asset);
    void collectRenderItems(RenderList& list) override;

    // Look-ups by surface name into the mesh; 0 or null without one.
    uint32_t indexCount(const std::string& name) const;
    const std::vector<unsigned char>* indexData(const std::string& name) const;
    const IndexBufferObject* indexBuffer(const std::string& name) const;
    const SurfaceSet& surfaces() const { return surfaces_; }

private:
    Camera* camera_ = nullptr;  // not owned
    SurfaceSet surfaces_;
};

} // namespace Velda
