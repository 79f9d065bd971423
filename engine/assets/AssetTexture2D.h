#pragma once

#include "assets/Asset.h"

namespace Velda {

class Texture2D;

// An image file: fetched and decoded on the worker, uploaded on the GL
// thread. A file that cannot be decoded counts as ready and shows the
// fallback texture.
class AssetTexture2D : public Asset {
public:
    // `fallback` holds the default texture; AssetManager keeps it.
    AssetTexture2D(const std::string& url, Context3d* renderer, Texture2D** fallback);
    ~AssetTexture2D() override;

    // Fetch (and cache), then decode.
    void run() override;
    // Upload, callbacks, ready.
    void finish() override;
    bool isReady() const override { return ready_; }
    void freeData() override;

    Texture2D* texture() const { return texture_; }
    const unsigned char* pixels() const { return pixels_; }
    int width() const { return width_; }
    int height() const { return height_; }
    float inverseWidth() const { return inverseWidth_; }
    float inverseHeight() const { return inverseHeight_; }
    unsigned bitsPerPixel() const { return bitsPerPixel_; }
    bool useMipmaps() const { return useMipmaps_; }
    // False after a decoding failure (the texture is then the fallback).
    bool succeeded() const { return succeeded_; }

    // Called by the image parsers: takes the malloc'd rows and the texture
    // object (may be null: no texture for this depth).
    void setImage(unsigned char* pixels, int width, int height, unsigned bitsPerPixel, Texture2D* texture);

    // The decoder by the text behind the last "."; null for anything else.
    static class Parser* parserFor(const std::string& path);

private:
    Texture2D* texture_ = nullptr;
    bool ownsTexture_ = false;
    unsigned char* pixels_ = nullptr;
    int width_ = 0;
    float inverseWidth_ = 0.0f;
    int height_ = 0;
    float inverseHeight_ = 0.0f;
    unsigned bitsPerPixel_ = 0;
    Texture2D** fallback_;
    bool useMipmaps_;
    bool succeeded_ = true;
    Context3d* renderer_;
};

} // namespace Velda
