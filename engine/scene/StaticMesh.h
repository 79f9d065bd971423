#pragma once

#include "scene/Object3D.h"
#include "scene/SurfaceSet.h"

#include <cstdint>

namespace Velda {

class AssetMaterial;
class AssetMesh;

// The drawable of the project's scene: named index sets of a mesh, each
// with a material. Mesh and material arrive later, in any order; a surface
// joins the frame once its mesh is ready.
class StaticMesh : public Object3D {
public:
    ~StaticMesh() override = default;

    void addSurface(int32_t meshId, int32_t materialId, const std::string& name);
    void setMaterial(AssetMaterial* asset);
    void setMesh(AssetMesh* asset);
    void collectRenderItems(RenderList& list) override;

    // The object's id in the project's index (what `props` is keyed by).
    int32_t objectId() const { return objectId_; }
    void setObjectId(int32_t id) { objectId_ = id; }
    // Its 1-based place in the scene's list of meshes, which the renderer's
    // per-object table and the id pass go by; the scene's factory sets it.
    uint32_t sceneIndex() const { return sceneIndex_; }
    void setSceneIndex(uint32_t index) { sceneIndex_ = index; }
    void setNoReflection(bool on) { noReflection_ = on; }
    bool getNoReflection() const { return noReflection_; }
    const SurfaceSet& surfaces() const { return surfaces_; }

private:
    int32_t objectId_ = 0;
    uint32_t sceneIndex_ = 0;
    bool noReflection_ = false;
    bool reserved_ = false;
    SurfaceSet surfaces_;
};

} // namespace Velda
