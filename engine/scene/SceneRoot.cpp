#include "scene/SceneRoot.h"

#include "scene/Camera.h"
#include "scene/DctLight.h"
#include "scene/PtLight.h"
#include "scene/SenceBackGround.h"
#include "scene/SpotLight.h"
#include "scene/StaticMesh.h"

#include <stdexcept>

namespace Velda {

namespace {
template <typename T>
void deleteAll(std::vector<T*>& list)
{
    for (T* object : list)
        delete object;
    list.clear();
}

template <typename T>
T* make(std::vector<T*>& list)
{
    list.push_back(new T());
    return list.back();
}

template <typename T>
void appendAll(std::vector<Object3D*>& to, const std::vector<T*>& from)
{
    to.insert(to.end(), from.begin(), from.end());
}
} // namespace

SceneRoot::SceneRoot() = default;

SceneRoot::~SceneRoot()
{
    // Each object stands in exactly one kind list; `objects_` may have lost
    // the backgrounds (clearStaticMeshes), so ownership goes by kind.
    deleteAll(cameras_);
    deleteAll(backgrounds_);
    deleteAll(staticMeshes_);
    deleteAll(dctLights_);
    deleteAll(ptLights_);
    deleteAll(spotLights_);
    objects_.clear();
}

Object3D* SceneRoot::createObject(int type)
{
    if (static_cast<unsigned>(type) > static_cast<unsigned>(kSpotLight))
        throw std::runtime_error("Can not find proper object3d type to create!");
    Object3D* object = nullptr;
    switch (type) {
    case kStaticMesh: {
        StaticMesh* mesh = make(staticMeshes_);
        mesh->setSceneIndex(static_cast<uint32_t>(staticMeshes_.size()));
        object = mesh;
        break;
    }
    case kBackground: object = make(backgrounds_); break;
    case kCamera: object = make(cameras_); break;
    case kDctLight: object = make(dctLights_); break;
    case kPtLight: object = make(ptLights_); break;
    case kSpotLight: object = make(spotLights_); break;
    default: return nullptr;
    }
    objects_.push_back(object);
    return object;
}

void SceneRoot::extendBounds(const AABB3& box)
{
    const AABB3 copy = box;
    const Vector3& bmin = copy.getMin();
    const Vector3& bmax = copy.getMax();
    if (bmin == bmax)
        return;
    if (bounds_.getMin() == bounds_.getMax()) {
        bounds_.setMin(bmin);
        bounds_.setMax(bmax);
        return;
    }
    bounds_.extend(copy);
}

void SceneRoot::clearStaticMeshes()
{
    deleteAll(staticMeshes_);
    bounds_.reset();
    objects_.clear();
    appendAll(objects_, cameras_);
    appendAll(objects_, dctLights_);
    appendAll(objects_, ptLights_);
    appendAll(objects_, spotLights_);
}

} // namespace Velda
