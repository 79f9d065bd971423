#include "assets/AssetTextureCube.h"

#include "assets/AssetManager.h"
#include "assets/AssetTexture2D.h"
#include "formats/TextHelpers.h"
#include "log/Log.h"
#include "render/Texture2D.h"
#include "render/TextureCube.h"

#include <GL/glew.h>

namespace Velda {

AssetTextureCube::AssetTextureCube(const std::string& url, Context3d* renderer) : AssetBundle(url, renderer) {}

AssetTextureCube::~AssetTextureCube() = default;

void AssetTextureCube::run()
{
    finished_ = true;  // the faces are fetched as images of their own
}

void AssetTextureCube::finish()
{
    if (requested_)
        return;
    requested_ = true;
    const std::vector<std::string> names = split(fileNameOf(path()), "|");
    for (int i = 0; i < 6; ++i)
        names_[i] = i < static_cast<int>(names.size()) ? names[static_cast<size_t>(i)] : std::string();
    AssetManager* manager = AssetManager::instance();
    for (int i = 0; i < 6 && manager; ++i)
        if (!names_[i].empty())
            manager->load(directory() + names_[i], [this](void* a) { return faceArrived(a); });
    LoadJob::finish();
    ready_ = true;
}

void* AssetTextureCube::faceArrived(void* argument)
{
    AssetTexture2D* face = dynamic_cast<AssetTexture2D*>(Asset::fromCallbackArgument(argument));
    if (!face)
        return nullptr;
    // A name standing twice counts for both positions at once.
    for (int i = 0; i < 6; ++i) {
        if (names_[i].empty() || face->path() != directory() + names_[i])
            continue;
        faces_[i] = face;
        ++arrived_;
        if (arrived_ == 6)
            createCube();
    }
    return nullptr;
}

void AssetTextureCube::createCube()
{
    // One format serves all faces; faces decoded differently would be read
    // with the wrong pixel size, so such a cube is not made. A face that has
    // not arrived (a name counted twice) is defined empty.
    unsigned format = 0;
    int widths[6] = {}, heights[6] = {};
    const void* pixels[6] = {};
    for (int i = 0; i < 6; ++i) {
        if (!faces_[i])
            continue;
        widths[i] = faces_[i]->width();
        heights[i] = faces_[i]->height();
        pixels[i] = faces_[i]->pixels();
        if (!pixels[i])
            continue;
        const unsigned faceFormat = faces_[i]->glFormat() ? faces_[i]->glFormat() : GL_BGR;
        if (format != 0 && faceFormat != format) {
            VLOG << "Cube " << path() << " mixes pixel formats; not made";
            return;
        }
        format = faceFormat;
    }
    texture_.reset(new TextureCube(widths, heights, pixels, format ? format : GL_BGR, GL_UNSIGNED_BYTE));
}

bool AssetTextureCube::isReady() const
{
    return texture_ != nullptr;
}

void AssetTextureCube::freeData()
{
    texture_.reset();
}

} // namespace Velda
