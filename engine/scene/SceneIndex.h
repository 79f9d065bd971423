#pragma once

#include "scene/AABB3.h"
#include "scene/Matrix4.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Velda {

struct IndexSurface {
    int32_t materialId = 0;
    int32_t meshId = 0;
    std::string name;
};

struct IndexObject {
    int32_t id = 0;
    std::string name;
    Matrix4 matrix;
    AABB3 bounds;
    bool castShadow = false;
    std::vector<IndexSurface> surfaces;
};

// What a scene index says, as plain values: the bundles to fetch and the
// objects to place.
struct SceneIndex {
    int32_t version = 0;
    std::vector<std::string> materialFiles;
    std::vector<std::string> meshFiles;
    uint32_t objectCount = 0;
    std::map<int32_t, IndexObject> objects;  // by id, ascending
    AABB3 bounds;
    uint32_t unit = 0;
    bool hasProps = false;  // the project has a `props` file beside its index
};

} // namespace Velda
