#pragma once

#include "scene/AABB3.h"
#include "scene/Matrix4.h"
#include "scene/RenderItem.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace Velda {

class Geometry;
class IndexBufferObject;
class Material;
class SceneRoot;
class StaticMesh;
class VertexBufferObject;

// Fewer, larger draws for big projects: the opaque objects of a scene that
// share a material (and an attribute layout) and stand in one cell of a
// grid over the scene are baked into world space and drawn as one item,
// whose box the passes cull as a whole. Objects arrive while the project
// streams in: each call bakes the newly drawable ones into new pieces, and
// the pieces of a batch are joined on the GL side (no CPU copy) when they
// grow many and once the scene is ready. Meshes' CPU copies are dropped
// once every object using them has been seen, unless the sources are kept;
// without them the merged objects' own buffers go too. GL thread only.
class BatchMerger {
public:
    // Scenes with fewer objects are drawn object by object.
    static const size_t kMergeFrom = 500;
    static const int kCells = 12;          // per side of the grid
    static const size_t kJoinAt = 32;      // pieces of a batch before a join

    BatchMerger();
    ~BatchMerger();
    BatchMerger(const BatchMerger&) = delete;
    BatchMerger& operator=(const BatchMerger&) = delete;

    // Visits the objects not seen yet. `keepSources`: leave every mesh's
    // CPU copies and buffers alone (the specified path may still draw each
    // object). `ready`: the scene is complete; every batch is joined.
    void absorb(SceneRoot& scene, bool keepSources, bool ready);
    // Whether the object is drawn by a batch.
    bool merged(const StaticMesh* mesh) const { return merged_.count(mesh) != 0; }
    // Whether merged objects lost their own buffers (only the batches draw them).
    bool sourcesReleased() const { return sourcesReleased_; }
    // The batches' items.
    void collect(RenderList& list);
    size_t pieceCount() const;
    size_t batchCount() const { return batches_.size(); }

private:
    struct Piece {
        std::map<std::string, std::unique_ptr<VertexBufferObject>> groups;
        std::unique_ptr<IndexBufferObject> indices;
        std::vector<uint32_t> indexCopy;  // kept until the last join, for rebasing
        uint32_t vertexCount = 0;
        Layout layout;
        AABB3 box;
        RenderItem item;
    };
    struct Batch {
        std::vector<std::unique_ptr<Piece>> pieces;
        bool joinedWhenReady = false;
    };
    struct Member {
        StaticMesh* mesh;
        std::vector<RenderItem*> items;
    };
    using Key = std::pair<std::pair<int, Material*>, std::string>;

    bool drawable(StaticMesh& mesh) const;
    bool mergeable(StaticMesh& mesh, std::string& layoutKey) const;
    int cellOf(const AABB3& box, const AABB3& bounds) const;
    std::unique_ptr<Piece> bake(const std::vector<Member>& members);
    void join(Batch& batch, bool keepIndexCopies);
    // Points the piece's item at its own buffers, box and the identity.
    void pointItem(Piece& piece);
    void releaseSeenGeometry(const std::set<Geometry*>& touched);

    std::vector<StaticMesh*> pending_;
    size_t known_ = 0;
    const StaticMesh* firstSeen_ = nullptr;
    std::set<const StaticMesh*> merged_;
    std::set<Geometry*> drawnAlone_;  // used by an object drawn on its own
    std::map<Key, Batch> batches_;
    Matrix4 identity_;
    bool sourcesReleased_ = false;
};

} // namespace Velda
