#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Velda {

class VertexBufferObject;
class IndexBufferObject;

// One attribute within a group of the geometry.
struct LayoutEntry {
    std::string name;
    int offset = 0;      // components of the attributes before it in the group key
    int stride = 0;      // floats per vertex of the group
    int components = 0;
    const VertexBufferObject* buffer = nullptr;  // not owned
    const std::vector<float>* data = nullptr;    // not owned
};

using Layout = std::map<std::string, LayoutEntry>;

// A mesh's arrays by name: each attribute group and index set as a CPU copy
// and, once upload() ran on the GL thread, as a GL buffer. Parsing fills the
// copies anywhere (the loading worker does); only upload() and the update
// calls touch GL.
class Geometry {
public:
    Geometry();
    ~Geometry();
    Geometry(const Geometry&) = delete;
    Geometry& operator=(const Geometry&) = delete;

    // Components of an attribute by its name: Position, Normal, Color 3,
    // UV* 2; 0 for any other name.
    static int componentsOf(const std::string& attribute);

    // After the first upload(), these upload at once.
    void addAttributeGroup(const std::string& key, int floatsPerVertex, uint32_t vertexCount, const float* data);
    // Makes the GL buffers of every array that has none yet and adds the
    // triangles of the counts set since to the process-wide total. GL thread.
    void upload();
    // Drops the CPU copies of uploaded arrays (the buffers, counts and widths
    // stay); later update calls change the buffers only.
    void releaseCopies();
    // Drops the GL buffers (a merged batch draws the mesh instead).
    void releaseBuffers();
    void removeAttributeGroup(const std::string& key);
    void updateAttributeRange(const std::string& key, uint32_t firstVertex, uint32_t vertexCount, const float* data);

    // `wide`: 32-bit indices, else 16-bit.
    void addIndexSet(const std::string& key, uint32_t count, const void* data, bool wide);
    void removeIndexSet(const std::string& key);
    void updateIndexRange(const std::string& key, uint32_t first, uint32_t count, const void* data);
    // Records the count; the next upload() adds count / 3 to the
    // process-wide triangle total.
    void setIndexCount(const std::string& key, uint32_t count);

    // Rebuilt when an attribute group came or went.
    const Layout& getLayout();
    // Adds the entries of one attribute group ("Position/Normal", ...) in
    // `buffer` to a layout; an attribute already there stays.
    static void addGroupEntries(Layout& layout, const std::string& group, const VertexBufferObject& buffer,
                                const std::vector<float>* data);

    std::string name;
    uint32_t vertexCount = 0;

    const std::map<std::string, int>& indexWidths() const { return indexWidth_; }
    const std::map<std::string, uint32_t>& indexCounts() const { return indexCount_; }
    const std::map<std::string, std::vector<float>>& attributeData() const { return attributeData_; }
    // Floats per vertex of a group, from the copy or the buffer; 0 if unknown.
    int floatsPerVertex(const std::string& key) const;
    const IndexBufferObject* indexBuffer(const std::string& key) const;
    const VertexBufferObject* vertexBuffer(const std::string& key) const;
    // The indices of a set as stored: 16-bit or 32-bit by its width.
    const std::vector<unsigned char>* indexData(const std::string& key) const;

    // Triangles uploaded so far in this process.
    static int64_t triangleTotal();

private:
    std::map<std::string, int> floatsPerVertex_;
    std::vector<uint32_t> pendingCounts_;
    bool uploaded_ = false;  // triangle counts not yet added to the total
    std::map<std::string, int> indexWidth_;
    std::map<std::string, uint32_t> indexCount_;
    Layout layout_;
    bool layoutDirty_ = false;
    std::map<std::string, std::vector<float>> attributeData_;
    std::map<std::string, std::unique_ptr<VertexBufferObject>> vertexBuffers_;
    std::map<std::string, std::vector<unsigned char>> indexData_;
    std::map<std::string, std::unique_ptr<IndexBufferObject>> indexBuffers_;
};

} // namespace Velda
