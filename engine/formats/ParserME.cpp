#include "formats/ParserME.h"

#include "assets/AssetMesh.h"
#include "formats/Geometry.h"
#include "formats/TextHelpers.h"
#include "formats/VeldaDocNode.h"
#include "log/Log.h"

#include <cstring>

namespace Velda {

namespace {

// Indices of a set, bounded by the bytes the node holds.
bool indicesInRange(const VeldaDocNode& node, bool wide, uint32_t count, uint32_t vertexCount)
{
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t index;
        if (wide) {
            std::memcpy(&index, node.data + 4u * i, 4);
        } else {
            uint16_t small;
            std::memcpy(&small, node.data + 2u * i, 2);
            index = small;
        }
        if (index >= vertexCount)
            return false;
    }
    return true;
}

void readAttributes(const VeldaDocNode& attribs, Geometry& geometry)
{
    for (const VeldaDocNode* group : attribs.children) {
        const uint32_t held = group->data ? group->dataSize / 4 : 0;
        const uint32_t floats = group->count < held ? group->count : held;
        const int floatsPerVertex = geometry.vertexCount ? static_cast<int>(floats / geometry.vertexCount) : 0;
        // The node's buffer comes from malloc, so it is aligned for floats;
        // the geometry makes the one copy that it keeps.
        const float* values = floatsPerVertex ? reinterpret_cast<const float*>(group->data) : nullptr;
        geometry.addAttributeGroup(wideToUtf8(group->name), floatsPerVertex, floatsPerVertex ? geometry.vertexCount : 0,
                                   values);
    }
}

void readIndices(const VeldaDocNode& indices, Geometry& geometry, const std::string& where)
{
    for (const VeldaDocNode* set : indices.children) {
        const bool wide = set->type != kTagUInt16Array;
        const uint32_t held = set->data ? set->dataSize / (wide ? 4u : 2u) : 0;
        const uint32_t count = set->count < held ? set->count : held;
        const std::string key = wideToUtf8(set->name);
        if (!indicesInRange(*set, wide, count, geometry.vertexCount)) {
            VLOG << "Index set " << key << " of " << where << " points past its " << geometry.vertexCount
                 << " vertices; left out";
            continue;
        }
        geometry.addIndexSet(key, count, set->data, wide);
        geometry.setIndexCount(key, count);
    }
}

} // namespace

bool ParserME::parse(const void* rootPointer, uint32_t, Asset* asset, int)
{
    AssetMesh* mesh = static_cast<AssetMesh*>(asset);
    const VeldaDocNode* root = static_cast<const VeldaDocNode*>(rootPointer);
    Geometry* geometry = new Geometry();
    int32_t id = -1;
    if (root) {
        for (const VeldaDocNode* child : root->children) {
            const std::string name = wideToUtf8(child->name);
            if (name == "id")
                id = child->firstInt32();
            else if (name == "vnum")
                geometry->vertexCount = child->firstUInt32();
            else if (name == "fnum")
                continue;
            else if (name == "attribs")
                readAttributes(*child, *geometry);
            else if (name == "indices")
                readIndices(*child, *geometry, mesh->path());
        }
    }
    mesh->setGeometry(geometry, id);
    return true;
}

} // namespace Velda
