#include "assets/AssetManager.h"

#include "assets/AssetBinary.h"
#include "assets/AssetBundle.h"
#include "assets/AssetTexture1D.h"
#include "assets/AssetTexture2D.h"
#include "assets/AssetTextureCube.h"
#include "assets/DiskCache.h"
#include "formats/TextHelpers.h"
#include "jobs/HttpTransfer.h"
#include "jobs/JobManager.h"
#include "log/Log.h"
#include "render/Texture2D.h"

#include <GL/glew.h>
#include <FreeImage.h>
#include <curl/curl.h>

#include <cstring>
#include <regex>

namespace Velda {

namespace {

AssetManager* g_assetManager = nullptr;

bool contains(const std::string& text, const char* part)
{
    return text.find(part) != std::string::npos;
}

bool extensionIs(const std::string& url, std::initializer_list<const char*> spellings)
{
    const std::string e = extensionOf(url);
    for (const char* s : spellings)
        if (e == s)
            return true;
    return false;
}

} // namespace

AssetManager::AssetManager(Context3d* renderer) : renderer_(renderer)
{
    curl_global_init(CURL_GLOBAL_ALL);
    FreeImage_Initialise(FALSE);
    // A light grey 2 by 2: visible on any surface, clearly not content.
    std::memset(defaultPixels_, 0xC8, sizeof defaultPixels_);
    g_assetManager = this;
}

AssetManager::~AssetManager()
{
    // release() stops the worker first: no transfer runs while the assets
    // or libcurl's global state go.
    release();
    curl_global_cleanup();
    defaultTexture_.reset();
    FreeImage_DeInitialise();
    if (g_assetManager == this)
        g_assetManager = nullptr;
}

Texture2D* AssetManager::defaultTexture()
{
    if (!defaultTexture_)
        defaultTexture_ = std::make_unique<Texture2D>(2, 2, GL_BGRA, GL_UNSIGNED_BYTE, defaultPixels_, false);
    return defaultTexture_.get();
}

AssetManager* AssetManager::instance()
{
    return g_assetManager;
}

Asset* AssetManager::create(const std::string& key)
{
    if (key.empty())
        return nullptr;
    if (contains(key, ".lt"))
        return new AssetTexture1D(key, renderer_);
    if (extensionIs(key, {"ME", "me", "MT", "mt"}))
        return new AssetBundle(key, renderer_);
    if (contains(key, "|"))
        return new AssetTextureCube(key, renderer_);
    if (extensionIs(key, {"GIF", "gif", "JPG", "jpg", "PNG", "png", "TGA", "tga", "DDS", "dds"}))
        return new AssetTexture2D(key, renderer_);
    return nullptr;
}

std::string AssetManager::shortName(const std::string& key)
{
    const bool local = contains(key, "SkyResources\\") || contains(key, "SkyResources/") ||
                       contains(key, "Cache/") || contains(key, "Cache\\");
    if (!local) {
        static const std::regex afterPars("pars=.+$", std::regex::ECMAScript);
        std::smatch match;
        if (std::regex_search(key, match, afterPars))
            return urlUnescape(match.str().substr(5));
        // A project folder addressed directly (file:///…/project/) has no
        // "pars=": its files go by their names, as in the cache, so that
        // a material's texture is found under "texs/<name>".
        if (key.compare(0, 7, "file://") != 0)
            return std::string();
        const std::string file = fileNameOf(urlUnescape(key));
        return contains(file, ".me") || contains(file, ".mt") ? file : "texs/" + file;
    }
    const std::string file = fileNameOf(key);
    if (contains(key, "SkyResources\\img") || contains(key, "SkyResources/img") || contains(key, "|"))
        return "SkyResources/img/" + file;
    if (!contains(file, ".me") && !contains(file, ".mt"))
        return "texs/" + file;
    if (contains(key, "SkyResources/") || contains(key, "SkyResources\\"))
        return "1000" + file;
    return file;
}

Asset* AssetManager::find(const std::string& urlOrShortName) const
{
    std::string key = urlOrShortName;
    const auto alias = aliases_.find(key);
    if (alias != aliases_.end())
        key = alias->second;
    const auto it = assets_.find(key);
    return it == assets_.end() ? nullptr : it->second;
}

Asset* AssetManager::load(const std::string& url, Callback callback)
{
    if (Asset* asset = find(url)) {
        if (asset->isReady() && callback)
            callback(static_cast<LoadJob*>(asset));
        else
            asset->addCallback(callback);
        return asset;
    }
    // Not found: the address is no short name of a known asset either.
    Asset* asset = create(url);
    if (!asset) {
        VLOG << "No kind of asset for the address : " << url;
        return nullptr;
    }
    asset->addCallback(callback);
    asset->load();
    assets_[url] = asset;
    aliases_.emplace(shortName(url), url);  // an existing short name keeps its address
    return asset;
}

AssetBinary* AssetManager::loadBinary(const std::string& url, Callback callback)
{
    const std::string key = binaryPrefix_ + url;
    if (configPending_ && contains(url, "index") && !contains(url, "SkyResources")) {
        if (!contains(url, "Cache") && !DiskCache::isFileAddress(url))
            configLine_ = url + "\n";
        else
            configPending_ = false;
    }
    const auto existing = assets_.find(key);
    if (existing != assets_.end())
        return static_cast<AssetBinary*>(existing->second);
    AssetBinary* asset = new AssetBinary(url);
    asset->addCallback(callback);
    asset->load();
    assets_[key] = asset;
    return asset;
}

void AssetManager::release()
{
    // The worker may be inside a job's run: it is stopped at a safe point
    // and joined before any asset is deleted.
    JobManager::instance().stopWorker();
    JobManager::instance().clearJobs();
    for (auto& entry : assets_)
        delete entry.second;
    assets_.clear();
    aliases_.clear();
    allReady_ = false;
    configPending_ = true;
}

bool AssetManager::isReady()
{
    if (allReady_)
        return true;
    if (!JobManager::instance().idle())
        return false;
    if (configPending_) {
        // Only a line that was noted is written, and only for a project
        // whose every file arrived whole; a failed open drops it.
        if (!configLine_.empty() && !DiskCache::folderComplete())
            VLOG << "A file of the project failed; the project is not committed to the cache";
        else if (!configLine_.empty() && !DiskCache::commit(baseFolder_, configLine_))
            VLOG << "Cache.config cannot be opened; the cache line is dropped";
        configPending_ = false;
    }
    allReady_ = true;
    for (const auto& entry : assets_) {
        if (!entry.second->isReady()) {
            allReady_ = false;
            return false;
        }
    }
    return true;
}

float AssetManager::progress()
{
    if (expectedCount_ == 0)
        return 0.0f;
    double sum = 0.0;
    for (const auto& entry : assets_) {
        const std::string& p = entry.second->url();  // no copy: this runs every frame while loading
        if (contains(p, "SkyResource"))
            continue;
        const bool bundle = p.size() >= 3 && (p.compare(p.size() - 3, 3, ".me") == 0 ||
                                              p.compare(p.size() - 3, 3, ".mt") == 0);
        if (bundle)
            if (const AssetBundle* b = dynamic_cast<const AssetBundle*>(entry.second))
                sum += b->readyFraction();
    }
    return static_cast<float>(sum / expectedCount_);
}

} // namespace Velda
