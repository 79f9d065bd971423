#pragma once

#include "scene/RenderItem.h"
#include "scene/Surface.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Velda {

class AssetMaterial;
class AssetMesh;
class Material;
class Object3D;

// The surfaces of a drawable and their render items, with what the project
// meshes and the sky do alike: adding surfaces, taking a mesh, and filling
// an item's texture macros from a material.
class SurfaceSet {
public:
    // Creates the surface and its item; the item points at the object's
    // matrices and takes its shadow flag.
    void add(Object3D& owner, int32_t meshId, int32_t materialId, const std::string& name);
    // Stores the mesh in every surface and points each item at its index set.
    void setMesh(AssetMesh* asset);
    // Stores the material in every surface, then for each item runs the
    // drawable's own rule and gives it the material, its bump switch and
    // its texture macros. Items are untouched when the asset holds none.
    void setMaterial(AssetMaterial* asset, const std::function<void(RenderItem&, Material&)>& rule);
    // The seven macro name and value pairs of an item from a material.
    static void fillTextureMacros(RenderItem& item, Material& material);
    // Points the item at the owner's matrices, shadow flag and box, which
    // recomputes what is stale.
    static void refresh(RenderItem& item, Object3D& owner);
    // Sets the colour ramp flag once the ramp is ready; true if it changed.
    static bool takeColorRamp(RenderItem& item);

    const std::vector<std::unique_ptr<Surface>>& surfaces() const { return surfaces_; }
    RenderItem* itemOf(const Surface* surface) const;
    AssetMesh* meshAsset() const { return meshAsset_; }
    AssetMaterial* materialAsset() const { return materialAsset_; }

private:
    AssetMesh* meshAsset_ = nullptr;
    AssetMaterial* materialAsset_ = nullptr;
    std::vector<std::unique_ptr<Surface>> surfaces_;
    std::map<const Surface*, std::unique_ptr<RenderItem>> items_;
};

} // namespace Velda
