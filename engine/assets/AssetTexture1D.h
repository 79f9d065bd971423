#pragma once

#include "assets/Asset.h"

#include <memory>

namespace Velda {

class AssetTexture2D;
class Texture1D;

// The colour ramp: "color.lt" names no file; it stands for "color.jpg"
// beside it, whose first row becomes a 1D texture.
class AssetTexture1D : public Asset {
public:
    AssetTexture1D(const std::string& url, Context3d* renderer);
    ~AssetTexture1D() override;

    void run() override;
    // Asks for the image with a callback that builds the 1D texture.
    void finish() override;
    // Ready once the ramp texture exists.
    bool isReady() const override;
    void freeData() override;

    Texture1D* texture() const { return texture_.get(); }
    AssetTexture2D* source() const { return source_; }

private:
    void* sourceArrived(void* argument);

    std::unique_ptr<Texture1D> texture_;
    AssetTexture2D* source_ = nullptr;
};

} // namespace Velda
