#pragma once

#include "formats/ProjectProps.h"
#include "scene/SceneBuilder.h"

#include <memory>
#include <string>

namespace Velda {
class AssetManager;
class Camera;
class SceneRoot;
}

namespace VeldaClient {

// The loading half of the graphics boot, shared by the viewer's hub and the
// headless renderer: it queues the sky's index and images, looks the
// project up in the disk cache, queues the project's index, and turns both
// indexes into scene objects when they arrive. No Qt and no GL of its own;
// the callbacks run on the GL thread as the frame hands jobs over.
class ProjectLoader {
public:
    ProjectLoader(Velda::SceneRoot* scene, Velda::Camera* camera, Velda::AssetManager* assets);

    // `rootPath` comes in as the project's root address and leaves as the
    // address of its index; `projectRoot` is where its bundles lie. Both
    // become file:// addresses on a cache hit. `cacheBase` is the
    // application data folder, base of Cache/.
    void start(const std::string& programFolder, const std::string& cacheBase, std::string& rootPath,
               std::string& projectRoot);

    // Bound to the two index requests; the argument is the raw file.
    void* loadSkyCallback(void* asset);
    void* loadIndexCallback(void* asset);
    // Bound to the `props` request: parses it; a broken file leaves none.
    void* loadPropsCallback(void* asset);

    Velda::SceneBuilder& builder() { return builder_; }
    bool indexParsed() const { return indexParsed_; }
    // Bundles the project's index named.
    size_t bundleCount() const { return bundleCount_; }
    // What each object is in its source model; null until it arrived, and
    // for projects without one.
    const Velda::ProjectProps* props() const { return props_.get(); }
    // Scene units per model unit (the index's coordinates): 1 until the
    // index arrived.
    float sceneScale() const { return sceneScale_; }

    // The sky's images, in the order they are requested: the dial's five,
    // the colour ramp's source, the water, the six-face cube.
    static const char* const kSkyImages[8];

private:
    Velda::AssetManager* assets_;
    Velda::SceneBuilder builder_;
    std::string skyFolder_;
    std::string projectRoot_;
    bool indexParsed_ = false;
    size_t bundleCount_ = 0;
    float sceneScale_ = 1.0f;
    std::unique_ptr<const Velda::ProjectProps> props_;
};

} // namespace VeldaClient
