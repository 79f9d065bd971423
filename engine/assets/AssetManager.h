#pragma once

#include "jobs/IJob.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace Velda {

class Asset;
class AssetBinary;
class Context3d;
class Texture2D;

// The owner and single door of all loaded content: one asset per address,
// created on first request and kept to the end of the process. GUI thread
// only. Reached through instance() while one exists.
class AssetManager {
public:
    explicit AssetManager(Context3d* renderer = nullptr);
    virtual ~AssetManager();
    AssetManager(const AssetManager&) = delete;
    AssetManager& operator=(const AssetManager&) = delete;

    static AssetManager* instance();

    // Returns the asset of an address (or of a short name), creating and
    // queueing it on first request. The callback runs at once when the asset
    // is ready, otherwise when it finishes. An address that names no kind of
    // asset is logged and gives null.
    virtual Asset* load(const std::string& url, Callback callback);
    // A raw file; a second request of the same address drops its callback.
    virtual AssetBinary* loadBinary(const std::string& url, Callback callback);
    // Stops the worker (a running transfer is abandoned at a safe point) and
    // joins it, empties the queues, then deletes every asset.
    virtual void release();
    // True once nothing is queued or waiting and every asset is ready; then
    // it stays true. Commits the cache line the first time the queues are
    // empty.
    virtual bool isReady();
    // The project's bundles, each weighted by its share of ready children,
    // over the expected count.
    virtual float progress();

    void setExpectedCount(uint32_t count) { expectedCount_ = count; }
    uint32_t expectedCount() const { return expectedCount_; }
    // The application data folder, base of Cache/Cache.config.
    void setBaseFolder(const std::string& folder) { baseFolder_ = folder; }
    const std::string& baseFolder() const { return baseFolder_; }

    // The short name under which an address is also known.
    static std::string shortName(const std::string& key);
    // Lookups without loading.
    Asset* find(const std::string& urlOrShortName) const;
    bool configPending() const { return configPending_; }

    // The renderer's fast path drops meshes' CPU copies (and the buffers of
    // merged objects) once it has seen their objects, unless told to keep
    // them: the specified path keeps them.
    void setKeepGeometryCopies(bool keep) { keepGeometryCopies_ = keep; }
    bool keepGeometryCopies() const { return keepGeometryCopies_; }
    // Shown in place of an image that cannot be decoded; made on first use,
    // on the GL thread.
    Texture2D* defaultTexture();

private:
    Asset* create(const std::string& key);

    uint32_t expectedCount_ = 0;
    const std::string binaryPrefix_ = "$binary_asset$";
    std::map<std::string, Asset*> assets_;
    std::map<std::string, std::string> aliases_;
    bool allReady_ = false;
    bool configPending_ = true;
    bool keepGeometryCopies_ = false;
    std::string configLine_;
    std::string baseFolder_;
    Context3d* renderer_;
    std::unique_ptr<Texture2D> defaultTexture_;
    unsigned char defaultPixels_[4 * 4];
};

} // namespace Velda
