#pragma once

#include "scene/AABB3.h"

#include <vector>

namespace Velda {

class Object3D;
class Camera;
class SenceBackGround;
class StaticMesh;
class DctLight;
class PtLight;
class SpotLight;

// The flat scene: one list per kind, and the factory that fills them. It owns
// every object it made.
class SceneRoot {
public:
    enum ObjectType : int {
        kNone = 0,
        kStaticMesh = 1,
        kBackground = 2,
        kCamera = 3,
        kDctLight = 4,
        kPtLight = 5,
        kSpotLight = 6,
    };

    SceneRoot();
    ~SceneRoot();
    SceneRoot(const SceneRoot&) = delete;
    SceneRoot& operator=(const SceneRoot&) = delete;

    // Type 0 gives null; a type above 6 (as unsigned) throws
    // std::runtime_error("Can not find proper object3d type to create!").
    Object3D* createObject(int type);

    // Ignores a box of zero size; takes over a box while the bounds are a
    // point; otherwise grows to the union.
    void extendBounds(const AABB3& box);
    AABB3& bounds() { return bounds_; }

    const std::vector<Object3D*>& getObjects() const { return objects_; }
    const std::vector<Camera*>& getCameras() const { return cameras_; }
    const std::vector<SenceBackGround*>& getBackgrounds() const { return backgrounds_; }
    const std::vector<StaticMesh*>& getStaticMeshes() const { return staticMeshes_; }
    const std::vector<DctLight*>& getDctLights() const { return dctLights_; }
    const std::vector<PtLight*>& getPtLights() const { return ptLights_; }
    const std::vector<SpotLight*>& getSpotLights() const { return spotLights_; }

    // Deletes every StaticMesh, resets the bounds to zero and rebuilds the
    // object list from cameras and lights; backgrounds stay alive but leave it.
    void clearStaticMeshes();

private:
    std::vector<Object3D*> objects_;
    std::vector<Camera*> cameras_;
    std::vector<SenceBackGround*> backgrounds_;
    std::vector<StaticMesh*> staticMeshes_;
    std::vector<DctLight*> dctLights_;
    std::vector<PtLight*> ptLights_;
    std::vector<SpotLight*> spotLights_;
    AABB3 bounds_;
};

} // namespace Velda
