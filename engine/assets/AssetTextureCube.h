#pragma once

#include "assets/AssetBundle.h"

#include <memory>
#include <string>

namespace Velda {

class AssetTexture2D;
class TextureCube;

// A sky cube: the file name is six names joined by "|", in the order +x,
// -x, +y, -y, +z, -z. Each face is an image asset of its own; the cube is
// made when all six have arrived.
class AssetTextureCube : public AssetBundle {
public:
    AssetTextureCube(const std::string& url, Context3d* renderer);
    ~AssetTextureCube() override;

    void run() override;
    // Asks for the six faces, each with a callback.
    void finish() override;
    // Ready once the cube texture exists.
    bool isReady() const override;
    void freeData() override;

    TextureCube* texture() const { return texture_.get(); }
    int arrived() const { return arrived_; }

private:
    void* faceArrived(void* argument);
    void createCube();

    std::unique_ptr<TextureCube> texture_;
    AssetTexture2D* faces_[6] = {};  // as they arrived
    std::string names_[6];
    int arrived_ = 0;
    bool requested_ = false;
};

} // namespace Velda
