#include "assets/AssetTexture2D.h"

#include "assets/AssetManager.h"

#include "formats/ParserImage.h"
#include "formats/TextHelpers.h"
#include "log/Log.h"
#include "render/Texture2D.h"

#include <GL/glew.h>

#include <cstdlib>
#include <memory>

namespace Velda {

AssetTexture2D::AssetTexture2D(const std::string& url, Context3d*) : Asset(url)
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
        ready_ = true;
        return;
    }
    dropFetchedBytes();
}

void AssetTexture2D::finish()
{
    if (!isReady()) {
        if (glFormat_ != 0 && pixels_) {
            texture_ = new Texture2D(width_, height_, glFormat_, GL_UNSIGNED_BYTE, pixels_, mipmapped_);
            ownsTexture_ = true;
        }
        LoadJob::finish();
        ready_ = true;
    } else if (!succeeded_ && !texture_) {
        AssetManager* manager = AssetManager::instance();
        texture_ = manager ? manager->defaultTexture() : nullptr;
        ownsTexture_ = false;
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
                              unsigned glFormat, bool mipmapped)
{
    freeData();
    pixels_ = pixels;
    width_ = width;
    height_ = height;
    bitsPerPixel_ = bitsPerPixel;
    glFormat_ = glFormat;
    mipmapped_ = mipmapped;
}

} // namespace Velda
