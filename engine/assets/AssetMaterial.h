#pragma once

#include "assets/Asset.h"

#include <map>
#include <memory>

namespace Velda {

class Material;

// One material out of a bundle. On arrival it requests the textures its
// channels name; it is ready once those are.
class AssetMaterial : public Asset {
public:
    AssetMaterial(const std::string& url, Context3d* renderer);
    ~AssetMaterial() override;

    void run() override {}
    // Reads the document handed over with setJobData; the bundle's worker
    // half calls it.
    void parse();
    void finish() override;
    // False without a Material or while a texture is not ready.
    bool isReady() const override;
    void freeData() override;

    Material* material() const { return material_.get(); }
    int32_t id() const { return id_; }
    void setMaterial(Material* material, int32_t id);
    // Channel to texture asset; the assets belong to AssetManager.
    const std::map<int, Asset*>& textures() const { return textures_; }

private:
    void requestTexture(int channel);

    std::unique_ptr<Material> material_;
    int32_t id_ = -1;
    std::map<int, Asset*> textures_;
};

} // namespace Velda
