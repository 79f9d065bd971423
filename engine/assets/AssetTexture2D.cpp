#include "assets/AssetTexture2D.h"

#include "formats/ParserImage.h"
#include "formats/TextHelpers.h"
#include "log/Log.h"
#include "render/Texture2D.h"

#include <cstdlib>
#include <memory>

namespace Velda {

AssetTexture2D::AssetTexture2D(const std::string& url, Context3d* renderer, Texture2D** fallback)
    : Asset(url), fallback_(fallback), renderer_(renderer)
{
    // The dial images of the overlay are drawn pixel for pixel.
    useMipmaps_ = url.find("img/光圈") == std::string::npos;
}

AssetTexture2D::~AssetTexture2D()
{
    freeData();
}

Parser* AssetTexture2D::parserFor(const std::string& path)
{
    const std::string e = extensionOf(path);
    if (e == "GIF" || e == "gif")
        return new ParserGIF();
    if (e == "JPG" || e == "jpg")
        return new ParserJPG();
    if (e == "PNG" || e == "png")
        return new ParserPNG();
    if (e == "TGA" || e == "tga")
        return new ParserTGA();
    if (e == "DDS" || e == "dds")
        return new ParserDDS();
    return nullptr;
}

void AssetTexture2D::run()
{
    LoadJob::run();
    if (!data_)
        return;
    std::unique_ptr<Parser> parser(parserFor(path()));
    const bool ok = parser && parser->parse(data_->pointer, data_->size, this, useMipmaps_ ? 1 : 0);
    if (!ok) {
        VLOG << "Texture " << path() << " could not be decoded; the fallback stands in";
        succeeded_ = false;
        texture_ = fallback_ ? *fallback_ : nullptr;
        ownsTexture_ = false;
        ready_ = true;
        return;
    }
    dropFetchedBytes();
}

void AssetTexture2D::finish()
{
    if (!isReady()) {
        if (texture_)
            texture_->create();
        LoadJob::finish();
        ready_ = true;
    } else if (texture_ && !ownsTexture_) {
        texture_->create();  // the fallback, uploaded once on first use
    }
}

void AssetTexture2D::freeData()
{
    if (ownsTexture_)
        delete texture_;
    texture_ = nullptr;
    ownsTexture_ = false;
    std::free(pixels_);
    pixels_ = nullptr;
}

void AssetTexture2D::setImage(unsigned char* pixels, int width, int height, unsigned bitsPerPixel,
                              Texture2D* texture)
{
    freeData();
    pixels_ = pixels;
    width_ = width;
    height_ = height;
    inverseWidth_ = 1.0f / static_cast<float>(width);
    inverseHeight_ = 1.0f / static_cast<float>(height);
    bitsPerPixel_ = bitsPerPixel;
    texture_ = texture;
    ownsTexture_ = texture != nullptr;
}

} // namespace Velda
