#include "assets/AssetMaterial.h"

#include "assets/AssetManager.h"
#include "formats/Material.h"
#include "formats/ParserMT.h"
#include "jobs/HttpTransfer.h"

namespace Velda {

AssetMaterial::AssetMaterial(const std::string& url, Context3d*) : Asset(url) {}

AssetMaterial::~AssetMaterial() = default;

void AssetMaterial::parse()
{
    if (data_ && data_->pointer) {
        ParserMT parser;
        parser.parse(data_->pointer, data_->size, this, 1);
    }
}

void AssetMaterial::finish()
{
    parse();
    for (int channel = 0; channel < 7; ++channel)
        requestTexture(channel);
    LoadJob::finish();
    ready_ = true;
}

void AssetMaterial::requestTexture(int channel)
{
    if (!material_)
        return;
    const std::string name = material_->getTexture(channel);
    if (name.empty())
        return;
    // Names on the web go out escaped (UTF-8 on the wire); a file address,
    // a project folder's included, takes the path as it is.
    const bool web = isRemote() && path().compare(0, 7, "file://") != 0;
    const std::string request = web ? directory() + urlEscape(name) : directory() + name;
    AssetManager* manager = AssetManager::instance();
    if (!manager)
        return;
    if (Asset* texture = manager->load(request, Callback()))
        textures_.emplace(channel, texture);
}

bool AssetMaterial::isReady() const
{
    if (!material_)
        return false;
    for (const auto& entry : textures_)
        if (!entry.second->isReady())
            return false;
    return ready_;
}

void AssetMaterial::freeData()
{
    material_.reset();
}

void AssetMaterial::setMaterial(Material* material, int32_t id)
{
    material_.reset(material);
    id_ = id;
}

} // namespace Velda
