#include "formats/Geometry.h"

#include "formats/TextHelpers.h"
#include "render/IndexBufferObject.h"
#include "render/VertexBufferObject.h"

#include <cstring>

namespace Velda {

namespace {
// Written on the GL thread only.
int64_t g_triangleTotal = 0;
} // namespace

Geometry::Geometry() = default;
Geometry::~Geometry() = default;

int Geometry::componentsOf(const std::string& attribute)
{
    if (attribute == "Position" || attribute == "Normal" || attribute == "Color")
        return 3;
    if (attribute.compare(0, 2, "UV") == 0)
        return 2;
    // The merged batches' column of owners, for the review tools.
    if (attribute == "ObjectIndex")
        return 1;
    return 0;
}

void Geometry::addAttributeGroup(const std::string& key, int floatsPerVertex, uint32_t count, const float* data)
{
    removeAttributeGroup(key);
    const size_t floats = static_cast<size_t>(floatsPerVertex) * count;
    std::vector<float>& copy = attributeData_[key];
    copy.assign(data, data + floats);
    floatsPerVertex_[key] = floatsPerVertex;
    layoutDirty_ = true;
    if (uploaded_)
        upload();  // once on the GL side, changes follow at once
}

void Geometry::upload()
{
    for (const auto& group : attributeData_) {
        std::unique_ptr<VertexBufferObject>& buffer = vertexBuffers_[group.first];
        if (buffer)
            continue;
        const int stride = floatsPerVertex_[group.first];
        const uint32_t count = stride > 0 ? static_cast<uint32_t>(group.second.size() / static_cast<size_t>(stride)) : 0;
        // Sized by the copy, so the upload never reads past it.
        buffer.reset(new VertexBufferObject(stride, count, group.second.data()));
        layoutDirty_ = true;
    }
    for (const auto& set : indexData_) {
        std::unique_ptr<IndexBufferObject>& buffer = indexBuffers_[set.first];
        if (buffer)
            continue;
        const bool wide = indexWidth_[set.first] == 1;
        buffer.reset(new IndexBufferObject(static_cast<uint32_t>(set.second.size() / (wide ? 4 : 2)),
                                           set.second.data(), wide));
    }
    for (uint32_t count : pendingCounts_)
        g_triangleTotal = static_cast<int64_t>(static_cast<double>(g_triangleTotal) + count / 3.0);
    pendingCounts_.clear();
    uploaded_ = true;
}

void Geometry::releaseCopies()
{
    for (auto it = attributeData_.begin(); it != attributeData_.end();)
        it = vertexBuffers_.count(it->first) ? attributeData_.erase(it) : std::next(it);
    for (auto it = indexData_.begin(); it != indexData_.end();)
        it = indexBuffers_.count(it->first) ? indexData_.erase(it) : std::next(it);
    layoutDirty_ = true;
}

void Geometry::releaseBuffers()
{
    vertexBuffers_.clear();
    indexBuffers_.clear();
    layout_.clear();
    layoutDirty_ = true;
}

int Geometry::floatsPerVertex(const std::string& key) const
{
    const auto it = floatsPerVertex_.find(key);
    return it == floatsPerVertex_.end() ? 0 : it->second;
}

void Geometry::removeAttributeGroup(const std::string& key)
{
    floatsPerVertex_.erase(key);
    if (attributeData_.erase(key) + vertexBuffers_.erase(key) > 0)
        layoutDirty_ = true;
}

void Geometry::updateAttributeRange(const std::string& key, uint32_t firstVertex, uint32_t count, const float* data)
{
    const auto buffer = vertexBuffers_.find(key);
    if (buffer == vertexBuffers_.end())
        return;
    const size_t stride = static_cast<size_t>(buffer->second->floatsPerVertex());
    const size_t begin = firstVertex * stride;
    const size_t floats = count * stride;
    const auto copy = attributeData_.find(key);
    if (copy != attributeData_.end()) {
        if (begin + floats > copy->second.size())
            return;  // past the group's end
        std::memcpy(copy->second.data() + begin, data, floats * sizeof(float));
    }
    buffer->second->update(static_cast<uint32_t>(begin * sizeof(float)), count, data);
}

void Geometry::addIndexSet(const std::string& key, uint32_t count, const void* data, bool wide)
{
    removeIndexSet(key);
    indexWidth_[key] = wide ? 1 : 0;
    const size_t bytes = static_cast<size_t>(count) * (wide ? 4 : 2);
    indexData_[key].assign(static_cast<const unsigned char*>(data), static_cast<const unsigned char*>(data) + bytes);
    if (uploaded_)
        upload();
}

void Geometry::removeIndexSet(const std::string& key)
{
    indexWidth_.erase(key);
    indexCount_.erase(key);
    indexData_.erase(key);
    indexBuffers_.erase(key);
}

void Geometry::updateIndexRange(const std::string& key, uint32_t first, uint32_t count, const void* data)
{
    const auto buffer = indexBuffers_.find(key);
    if (buffer == indexBuffers_.end())
        return;
    const bool wide = indexWidth_[key] == 1;
    const size_t unit = wide ? 4 : 2;
    const auto copy = indexData_.find(key);
    if (copy != indexData_.end()) {
        if ((static_cast<size_t>(first) + count) * unit > copy->second.size())
            return;
        std::memcpy(copy->second.data() + first * unit, data, count * unit);
    }
    buffer->second->update(first, count, data, wide);
}

void Geometry::setIndexCount(const std::string& key, uint32_t count)
{
    indexCount_[key] = count;
    pendingCounts_.push_back(count);
    if (uploaded_)
        upload();
}

void Geometry::addGroupEntries(Layout& layout, const std::string& group, const VertexBufferObject& buffer,
                               const std::vector<float>* data)
{
    int offset = 0;
    for (const std::string& attribute : split(group, "/")) {
        LayoutEntry entry;
        entry.name = attribute;
        entry.offset = offset;
        entry.stride = buffer.floatsPerVertex();
        entry.components = componentsOf(attribute);
        entry.buffer = &buffer;
        entry.data = data;
        layout.emplace(attribute, entry);  // the first group naming it stays
        offset += entry.components;
    }
}

const Layout& Geometry::getLayout()
{
    if (!layoutDirty_)
        return layout_;
    layout_.clear();
    for (const auto& group : vertexBuffers_) {
        const auto copy = attributeData_.find(group.first);
        addGroupEntries(layout_, group.first, *group.second, copy == attributeData_.end() ? nullptr : &copy->second);
    }
    layoutDirty_ = false;
    return layout_;
}

const IndexBufferObject* Geometry::indexBuffer(const std::string& key) const
{
    const auto it = indexBuffers_.find(key);
    return it == indexBuffers_.end() ? nullptr : it->second.get();
}

const VertexBufferObject* Geometry::vertexBuffer(const std::string& key) const
{
    const auto it = vertexBuffers_.find(key);
    return it == vertexBuffers_.end() ? nullptr : it->second.get();
}

const std::vector<unsigned char>* Geometry::indexData(const std::string& key) const
{
    const auto it = indexData_.find(key);
    return it == indexData_.end() ? nullptr : &it->second;
}

int64_t Geometry::triangleTotal()
{
    return g_triangleTotal;
}

} // namespace Velda
