#include "assets/AssetTexture1D.h"

#include "assets/AssetManager.h"
#include "assets/AssetTexture2D.h"
#include "formats/TextHelpers.h"
#include "render/Texture1D.h"
#include "render/Texture2D.h"

#include <GL/glew.h>

namespace Velda {

AssetTexture1D::AssetTexture1D(const std::string& url, Context3d*) : Asset(url) {}

AssetTexture1D::~AssetTexture1D() = default;

void AssetTexture1D::run()
{
    finished_ = true;  // nothing to fetch: the image is a file of its own
}

void AssetTexture1D::finish()
{
    if (ready_)
        return;
    std::string name = fileNameOf(path());
    const size_t dot = name.rfind('.');
    name = (dot == std::string::npos ? name : name.substr(0, dot)) + ".jpg";
    AssetManager* manager = AssetManager::instance();
    if (manager) {
        Asset* asset = manager->load(directory() + name,
                                     [this](void* argument) { return sourceArrived(argument); });
        source_ = dynamic_cast<AssetTexture2D*>(asset);
    }
    LoadJob::finish();
    ready_ = true;
}

void* AssetTexture1D::sourceArrived(void* argument)
{
    AssetTexture2D* image = dynamic_cast<AssetTexture2D*>(Asset::fromCallbackArgument(argument));
    if (!image || !image->pixels() || image->width() <= 0)
        return nullptr;
    // The first row of the ramp, read in the format the image was decoded
    // with (BGR for the ramp as shipped), so the row is never overrun.
    const unsigned format = image->glFormat() ? image->glFormat() : GL_BGR;
    if (!image->glFormat() && image->bitsPerPixel() < 24)
        return nullptr;
    texture_.reset(new Texture1D(image->width(), format, GL_UNSIGNED_BYTE, image->pixels()));
    return nullptr;
}

bool AssetTexture1D::isReady() const
{
    return ready_ && texture_ != nullptr;
}

void AssetTexture1D::freeData()
{
    texture_.reset();
}

} // namespace Velda
