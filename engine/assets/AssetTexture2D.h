#pragma once

#include "assets/Asset.h"

namespace Velda {

class Texture2D;

// An image file: fetched and decoded on the worker, which hands plain pixels
// over; the texture is made on the GL thread. A file that cannot be decoded
// counts as ready and shows the manager's fallback texture.
class AssetTexture2D : public Asset {
public:
    AssetTexture2D(const std::string& url, Context3d* renderer);
    ~AssetTexture2D() override;

    // Fetch (and cache), then decode.
    void run() override;
    // Upload, callbacks, ready.
    void finish() override;
    bool isReady() const override { return ready_; }
    void freeData() override;

    // Null until the GL thread has made it.
    Texture2D* texture() const { return texture_; }
    // The GL pixel format of the decoded rows; 0 when no texture can be made
    // for their depth.
    unsigned glFormat() const { return glFormat_; }
    const unsigned char* pixels() const { return pixels_; }
    int width() const { return width_; }
    int height() const { return height_; }
    // 1 / width and 1 / height; 0 before an image is set.
    float inverseWidth() const { return width_ ? 1.0f / static_cast<float>(width_) : 0.0f; }
    float inverseHeight() const { return height_ ? 1.0f / static_cast<float>(height_) : 0.0f; }
    unsigned bitsPerPixel() const { return bitsPerPixel_; }
    bool useMipmaps() const { return useMipmaps_; }
    // False after a decoding failure (the texture is then the fallback).
    bool succeeded() const { return succeeded_; }

    // Called by the image parsers on the worker: takes the malloc'd rows,
    // their GL format (0: no texture for this depth) and the mip map wish.
    void setImage(unsigned char* pixels, int width, int height, unsigned bitsPerPixel, unsigned glFormat,
                  bool mipmapped);

    // The decoder by the text behind the last "."; null for anything else.
    static class Parser* parserFor(const std::string& path);

private:
    Texture2D* texture_ = nullptr;
    bool ownsTexture_ = false;
    unsigned char* pixels_ = nullptr;
    int width_ = 0;
    int height_ = 0;
    unsigned bitsPerPixel_ = 0;
    unsigned glFormat_ = 0;
    bool mipmapped_ = false;
    bool useMipmaps_;
    bool succeeded_ = true;
};

} // namespace Velda
