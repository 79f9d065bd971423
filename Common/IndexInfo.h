#pragma once

#include "scene/AABB3.h"
#include "scene/Matrix4.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace VeldaClient {

struct IndexSurface {
    int32_t materialId = 0;
    int32_t meshId = 0;
    std::string name;
};

struct IndexObject {
    int32_t id = 0;
    std::string name;
    Velda::Matrix4 matrix;
    Velda::AABB3 bounds;
    bool castShadow = false;
    std::vector<IndexSurface> surfaces;
};

// The parsed `index` file of a project (or of the sky): which bundles exist
// and which objects the scene has. A plain data holder.
class IndexInfo {
public:
    // Builds everything from the file's bytes; the caller keeps them. Throws
    // std::runtime_error("资源索引解析失败!") when the bytes are not an index;
    // the reason is nested in it (std::rethrow_if_nested).
    IndexInfo(const unsigned char* data, unsigned int size);

    int32_t version() const { return version_; }
    std::vector<std::string> materialFiles() const { return materialFiles_; }
    std::vector<std::string> meshFiles() const { return meshFiles_; }
    // Children of "objs", summed over the groups of a scene too large for one.
    uint32_t objectCount() const { return objectCount_; }
    // By id, ascending; of two objects with one id the first stays.
    std::map<int32_t, IndexObject> objects() const { return objects_; }
    Velda::AABB3 bounds() const { return bounds_; }
    uint32_t unit() const { return unit_; }

private:
    int32_t version_ = 0;
    std::vector<std::string> materialFiles_;
    std::vector<std::string> meshFiles_;
    uint32_t objectCount_ = 0;
    std::map<int32_t, IndexObject> objects_;
    Velda::AABB3 bounds_;
    uint32_t unit_ = 0;
};

// The text of the failure above.
extern const char* const kIndexParseFailure;

} // namespace VeldaClient
