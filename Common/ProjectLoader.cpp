#include "Common/ProjectLoader.h"

#include "Common/IndexInfo.h"
#include "assets/AssetBinary.h"
#include "assets/AssetManager.h"
#include "assets/DiskCache.h"
#include "log/Log.h"

#include <exception>

namespace VeldaClient {

const char* const ProjectLoader::kSkyImages[8] = {
    "光圈.png",
    "光圈圆点-内环(划过).png",
    "光圈圆点-内环.png",
    "光圈圆点-外环(划过).png",
    "光圈圆点-外环.png",
    "color.jpg",
    "water.jpg",
    "rt.jpg|lf.jpg|bk.jpg|ft.jpg|up.jpg|dn.jpg",
};

ProjectLoader::ProjectLoader(Velda::SceneRoot* scene, Velda::Camera* camera, Velda::AssetManager* assets)
    : assets_(assets), builder_(scene, camera, assets)
{
}

void ProjectLoader::start(const std::string& programFolder, const std::string& cacheBase, std::string& rootPath,
                          std::string& projectRoot)
{
    // First in the queue, so the sky streams before the project.
    skyFolder_ = "file://" + programFolder + "/SkyResources/";
    assets_->loadBinary(skyFolder_ + "index", [this](void* a) { return loadSkyCallback(a); });
    for (const char* image : kSkyImages)
        assets_->load(skyFolder_ + "img/" + image, Velda::Callback());
    assets_->setBaseFolder(cacheBase);
    Velda::DiskCache::setRoot(cacheBase);
    VLOG << "Load internal asset.";

    projectRoot = rootPath;
    rootPath += "index";
    VLOG << "Begin cache processor.";
    Velda::DiskCache::lookup(rootPath, projectRoot);
    projectRoot_ = projectRoot;
    VLOG << "Download index file.";
    assets_->loadBinary(rootPath, [this](void* a) { return loadIndexCallback(a); });
}

void* ProjectLoader::loadSkyCallback(void* asset)
{
    VLOG << "load sky callback, parse index info!";
    auto* file = static_cast<Velda::AssetBinary*>(Velda::Asset::fromCallbackArgument(asset));
    const IndexInfo index(file->data(), file->dataSize());
    builder_.buildSky(index.data(), skyFolder_);
    VLOG << "load sky callback, parse index info over!";
    return nullptr;
}

void* ProjectLoader::loadIndexCallback(void* asset)
{
    VLOG << "load index callback, parse index info!";
    auto* file = static_cast<Velda::AssetBinary*>(Velda::Asset::fromCallbackArgument(asset));
    const IndexInfo index(file->data(), file->dataSize());
    bundleCount_ = index.materialFiles().size() + index.meshFiles().size();
    // Ahead of the bundles: about as small as the index, it is then never
    // what the ready scene waits for. Fetched through the disk cache like
    // the rest of the project, kept for the property panel.
    if (index.hasProps())
        assets_->loadBinary(projectRoot_ + "props", [this](void* a) { return loadPropsCallback(a); });
    sceneScale_ = Velda::SceneBuilder::sceneScale(index.data().bounds);
    builder_.buildProject(index.data(), projectRoot_);
    indexParsed_ = true;
    VLOG << "load index callback, parse index info over!";
    return nullptr;
}

void* ProjectLoader::loadPropsCallback(void* asset)
{
    auto* file = static_cast<Velda::AssetBinary*>(Velda::Asset::fromCallbackArgument(asset));
    try {
        props_.reset(new Velda::ProjectProps(Velda::parseProjectProps(file->data(), file->dataSize())));
        VLOG << "props: " << props_->entries.size() << " entries";
    } catch (const std::exception& e) {
        VLOG << "props not read: " << e.what();
    }
    return nullptr;
}

} // namespace VeldaClient
