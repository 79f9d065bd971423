#pragma once

#include "scene/SceneIndex.h"

#include <cstdint>
#include <map>
#include <string>

namespace Velda {

class AssetManager;
class Camera;
class SceneRoot;
class SenceBackGround;
class StaticMesh;

// Turns a parsed scene index into scene objects and queues the bundles they
// wait for: the sky (unscaled projects of its own, no shadows, no progress)
// and the project (scaled to a 10-unit diagonal, the four largest slabs
// pulled apart along z). The bundle callbacks hand each arriving mesh or
// material to the objects that named it. GL thread only.
class SceneBuilder {
public:
    SceneBuilder(SceneRoot* scene, Camera* camera, AssetManager* assets);

    // `folder` is where the sky's bundles lie, with its separator
    // ("file:///<program>/SkyResources/").
    void buildSky(const SceneIndex& index, const std::string& folder);
    // `projectRoot` is where the project's bundles lie: a name is appended.
    void buildProject(const SceneIndex& index, const std::string& projectRoot);

    // Load callbacks, bound per bundle; the argument is the mesh or material
    // asset out of the bundle.
    void* meshArrived(void* asset);
    void* materialArrived(void* asset);
    void* skyMeshArrived(void* asset);
    void* skyMaterialArrived(void* asset);

    const std::multimap<int32_t, StaticMesh*>& meshUsers() const { return meshUsers_; }
    const std::multimap<int32_t, StaticMesh*>& materialUsers() const { return materialUsers_; }
    const std::multimap<int32_t, SenceBackGround*>& skyMeshUsers() const { return skyMeshUsers_; }
    const std::multimap<int32_t, SenceBackGround*>& skyMaterialUsers() const { return skyMaterialUsers_; }

    // 10 / the length of the bounds' diagonal.
    static float sceneScale(const AABB3& bounds);

private:
    SceneRoot* scene_;
    Camera* camera_;
    AssetManager* assets_;
    std::multimap<int32_t, StaticMesh*> meshUsers_;
    std::multimap<int32_t, StaticMesh*> materialUsers_;
    std::multimap<int32_t, SenceBackGround*> skyMeshUsers_;
    std::multimap<int32_t, SenceBackGround*> skyMaterialUsers_;
};

} // namespace Velda
