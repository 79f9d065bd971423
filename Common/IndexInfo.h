#pragma once

#include "scene/SceneIndex.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace VeldaClient {

using IndexSurface = Velda::IndexSurface;
using IndexObject = Velda::IndexObject;

// The parsed `index` file of a project (or of the sky): which bundles exist
// and which objects the scene has. A plain data holder.
class IndexInfo {
public:
    // Builds everything from the file's bytes; the caller keeps them. Throws
    // std::runtime_error("资源索引解析失败!") when the bytes are not an index;
    // the reason is nested in it (std::rethrow_if_nested).
    IndexInfo(const unsigned char* data, unsigned int size);

    int32_t version() const { return data_.version; }
    std::vector<std::string> materialFiles() const { return data_.materialFiles; }
    std::vector<std::string> meshFiles() const { return data_.meshFiles; }
    // Children of "objs", summed over the groups of a scene too large for one.
    uint32_t objectCount() const { return data_.objectCount; }
    // By id, ascending; of two objects with one id the first stays.
    std::map<int32_t, IndexObject> objects() const { return data_.objects; }
    Velda::AABB3 bounds() const { return data_.bounds; }
    uint32_t unit() const { return data_.unit; }
    // Whether the project has a `props` file (what each object is).
    bool hasProps() const { return data_.hasProps; }
    // All of it, for the scene builder.
    const Velda::SceneIndex& data() const { return data_; }

private:
    Velda::SceneIndex data_;
};

// The text of the failure above.
extern const char* const kIndexParseFailure;

} // namespace VeldaClient
