#include "render/BatchMerger.h"

#include "assets/AssetMaterial.h"
#include "assets/AssetMesh.h"
#include "formats/Geometry.h"
#include "formats/Material.h"
#include "formats/TextHelpers.h"
#include "render/IndexBufferObject.h"
#include "render/VertexBufferObject.h"
#include "scene/SceneRoot.h"
#include "scene/StaticMesh.h"

#include <GL/glew.h>

#include <algorithm>
#include <cstring>

namespace Velda {

namespace {

Geometry* geometryOf(const StaticMesh& mesh)
{
    const auto& surfaces = mesh.surfaces().surfaces();
    if (surfaces.empty() || !surfaces.front()->meshAsset)
        return nullptr;
    return surfaces.front()->meshAsset->geometry();
}

// Where Position and Normal stand in a group's vertex, -1 when absent.
void attributeOffsets(const std::string& group, int& position, int& normal)
{
    position = normal = -1;
    int offset = 0;
    for (const std::string& attribute : split(group, "/")) {
        if (attribute == "Position")
            position = offset;
        else if (attribute == "Normal")
            normal = offset;
        offset += Geometry::componentsOf(attribute);
    }
}

} // namespace

BatchMerger::BatchMerger() = default;
BatchMerger::~BatchMerger() = default;

bool BatchMerger::drawable(StaticMesh& mesh) const
{
    const auto& surfaces = mesh.surfaces().surfaces();
    if (surfaces.empty())
        return false;
    for (const auto& surface : surfaces) {
        if (!surface->meshAsset || !surface->meshAsset->isReady() || !surface->meshAsset->geometry())
            return false;
        if (!surface->materialAsset || !surface->materialAsset->material())
            return false;
    }
    return true;
}

bool BatchMerger::mergeable(StaticMesh& mesh, std::string& layoutKey) const
{
    Geometry* geometry = geometryOf(mesh);
    if (!geometry || geometry->vertexCount == 0)
        return false;
    const SurfaceSet& set = mesh.surfaces();
    for (const auto& surface : set.surfaces()) {
        const RenderItem* item = set.itemOf(surface.get());
        const Material* m = item ? item->material : nullptr;
        // What the lit pass draws, opaque or blended, without a bump map;
        // water keeps its own item.
        if (!m || m->getBump() || item->water || item->indexCount == 0)
            return false;
        const bool opaque = m->getAlpha() == 1.0f;
        const bool blended = !opaque && m->getBlend() && m->getAlpha() <= 1.0f;
        if (!opaque && !blended)
            return false;
        if (!geometry->indexData(surface->name))
            return false;
    }
    layoutKey.clear();
    bool position = false;
    for (const auto& group : geometry->attributeData()) {
        const int stride = geometry->floatsPerVertex(group.first);
        if (stride <= 0 || group.second.size() != static_cast<size_t>(stride) * geometry->vertexCount)
            return false;
        int p = -1, n = -1;
        attributeOffsets(group.first, p, n);
        position = position || p >= 0;
        layoutKey += group.first + "#" + std::to_string(stride) + ";";
    }
    return position;
}

int BatchMerger::cellOf(const AABB3& box, const AABB3& bounds) const
{
    const Vector3 centre = (box.getMin() + box.getMax()) * 0.5f;
    const Vector3 lo = bounds.getMin();
    const Vector3 size = bounds.getMax() - lo;
    const auto index = [](float at, float from, float extent) {
        if (!(extent > 0.0f))
            return 0;
        const int i = static_cast<int>((at - from) / extent * kCells);
        return std::max(0, std::min(kCells - 1, i));
    };
    return index(centre.y, lo.y, size.y) * kCells + index(centre.x, lo.x, size.x);
}

void BatchMerger::absorb(SceneRoot& scene, bool keepSources, bool ready)
{
    const std::vector<StaticMesh*>& meshes = scene.getStaticMeshes();
    // Another scene in the same place: start again.
    if (known_ > meshes.size() || (known_ > 0 && meshes.front() != firstSeen_)) {
        pending_.clear();
        merged_.clear();
        drawnAlone_.clear();
        batches_.clear();
        known_ = 0;
        sourcesReleased_ = false;
    }
    if (!meshes.empty())
        firstSeen_ = meshes.front();
    for (; known_ < meshes.size(); ++known_)
        pending_.push_back(meshes[known_]);

    std::map<Key, std::vector<Member>> arrived;
    std::set<Geometry*> touched;
    const bool merging = meshes.size() >= kMergeFrom;
    std::vector<StaticMesh*> still;
    for (StaticMesh* mesh : pending_) {
        if (!drawable(*mesh)) {
            still.push_back(mesh);
            continue;
        }
        Geometry* geometry = geometryOf(*mesh);
        touched.insert(geometry);
        std::string layoutKey;
        if (!merging || !mergeable(*mesh, layoutKey)) {
            drawnAlone_.insert(geometry);
            continue;
        }
        const SurfaceSet& set = mesh->surfaces();
        Member member{mesh, {}};
        for (const auto& surface : set.surfaces())
            member.items.push_back(set.itemOf(surface.get()));
        const Key key{{cellOf(mesh->getBox(), scene.bounds()), member.items.front()->material}, layoutKey};
        arrived[key].push_back(std::move(member));
    }
    pending_.swap(still);

    for (auto& entry : arrived) {
        Batch& batch = batches_[entry.first];
        batch.pieces.push_back(bake(entry.second));
        for (const Member& member : entry.second)
            merged_.insert(member.mesh);
        if (batch.pieces.size() >= kJoinAt)
            join(batch, true);
    }
    if (ready) {
        for (auto& entry : batches_) {
            if (!entry.second.joinedWhenReady) {
                join(entry.second, false);
                entry.second.joinedWhenReady = true;
            }
        }
    }
    if (!keepSources && !touched.empty())
        releaseSeenGeometry(touched);
}

std::unique_ptr<BatchMerger::Piece> BatchMerger::bake(const std::vector<Member>& members)
{
    auto piece = std::make_unique<Piece>();
    std::map<std::string, std::vector<float>> groups;
    std::map<std::string, int> strides;
    piece->box.resetEmpty();
    uint32_t base = 0;
    for (const Member& member : members) {
        StaticMesh& mesh = *member.mesh;
        const Geometry& geometry = *geometryOf(mesh);
        const Matrix4& world = mesh.getTransform();
        const Matrix4& normals = mesh.getNormalMatrix();
        for (const auto& group : geometry.attributeData()) {
            const int stride = geometry.floatsPerVertex(group.first);
            strides[group.first] = stride;
            std::vector<float>& out = groups[group.first];
            const size_t start = out.size();
            out.insert(out.end(), group.second.begin(), group.second.end());
            int p = -1, n = -1;
            attributeOffsets(group.first, p, n);
            for (size_t v = start; v < out.size(); v += static_cast<size_t>(stride)) {
                // As the shaders do: the world matrix on the point, the
                // normal matrix on (normal, 1).
                if (p >= 0) {
                    const Vector4 q = world.transformVector4(Vector4(out[v + p], out[v + p + 1], out[v + p + 2], 1.0f));
                    out[v + p] = q.x, out[v + p + 1] = q.y, out[v + p + 2] = q.z;
                }
                if (n >= 0) {
                    const Vector4 q =
                        normals.transformVector4(Vector4(out[v + n], out[v + n + 1], out[v + n + 2], 1.0f));
                    out[v + n] = q.x, out[v + n + 1] = q.y, out[v + n + 2] = q.z;
                }
            }
        }
        // Which object each vertex belongs to: the review tools hide and
        // tint objects inside a batch by it, and the id pass reads it.
        std::vector<float>& owners = groups["ObjectIndex"];
        strides["ObjectIndex"] = 1;
        owners.insert(owners.end(), geometry.vertexCount, static_cast<float>(mesh.sceneIndex()));
        const SurfaceSet& set = mesh.surfaces();
        for (const auto& surface : set.surfaces()) {
            const std::vector<unsigned char>& bytes = *geometry.indexData(surface->name);
            const bool wide = geometry.indexWidths().at(surface->name) == 1;
            const RenderItem& item = *set.itemOf(surface.get());
            const size_t count = std::min<size_t>(item.indexCount, bytes.size() / (wide ? 4 : 2));
            for (size_t i = 0; i < count; ++i) {
                uint32_t index;
                if (wide) {
                    std::memcpy(&index, &bytes[4 * i], 4);
                } else {
                    uint16_t small;
                    std::memcpy(&small, &bytes[2 * i], 2);
                    index = small;
                }
                piece->indexCopy.push_back(base + index);
            }
        }
        base += geometry.vertexCount;
        piece->box.extend(mesh.getBox());
    }
    piece->vertexCount = base;
    for (const auto& group : groups)
        piece->groups[group.first].reset(new VertexBufferObject(strides[group.first], base, group.second.data()));
    piece->indices.reset(new IndexBufferObject(static_cast<uint32_t>(piece->indexCopy.size()), piece->indexCopy.data(), true));

    const RenderItem& first = *members.front().items.front();
    piece->item = first;
    piece->item.merged = true;
    piece->item.objectIndex = 0;  // its vertices say whose they are
    piece->item.indexCount = static_cast<uint32_t>(piece->indexCopy.size());
    for (const auto& group : piece->groups)
        Geometry::addGroupEntries(piece->layout, group.first, *group.second, nullptr);
    pointItem(*piece);
    return piece;
}

void BatchMerger::join(Batch& batch, bool keepIndexCopies)
{
    if (batch.pieces.size() > 1) {
        auto joined = std::make_unique<Piece>();
        joined->box.resetEmpty();
        uint32_t vertices = 0;
        for (const auto& piece : batch.pieces) {
            for (uint32_t index : piece->indexCopy)
                joined->indexCopy.push_back(vertices + index);
            vertices += piece->vertexCount;
            joined->box.extend(piece->box);
        }
        joined->vertexCount = vertices;
        // The vertices move on the GL side, group by group.
        for (const auto& group : batch.pieces.front()->groups) {
            const int stride = group.second->floatsPerVertex();
            auto target = std::make_unique<VertexBufferObject>(stride, vertices, nullptr);
            glBindBuffer(GL_COPY_WRITE_BUFFER, target->name());
            GLintptr at = 0;
            for (const auto& piece : batch.pieces) {
                const GLsizeiptr bytes = static_cast<GLsizeiptr>(piece->vertexCount) * stride * 4;
                glBindBuffer(GL_COPY_READ_BUFFER, piece->groups.at(group.first)->name());
                glCopyBufferSubData(GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0, at, bytes);
                at += bytes;
            }
            joined->groups[group.first] = std::move(target);
        }
        glBindBuffer(GL_COPY_READ_BUFFER, 0);
        glBindBuffer(GL_COPY_WRITE_BUFFER, 0);
        joined->indices.reset(
            new IndexBufferObject(static_cast<uint32_t>(joined->indexCopy.size()), joined->indexCopy.data(), true));
        joined->item = batch.pieces.front()->item;
        joined->item.indexCount = static_cast<uint32_t>(joined->indexCopy.size());
        joined->layout = batch.pieces.front()->layout;
        // Re-point every layout entry at the joined group that held it.
        const Piece& old = *batch.pieces.front();
        for (auto& entry : joined->layout)
            for (const auto& group : old.groups)
                if (entry.second.buffer == group.second.get())
                    entry.second.buffer = joined->groups.at(group.first).get();
        pointItem(*joined);
        batch.pieces.clear();
        batch.pieces.push_back(std::move(joined));
    }
    if (!keepIndexCopies)
        for (auto& piece : batch.pieces)
            std::vector<uint32_t>().swap(piece->indexCopy);
}

void BatchMerger::releaseSeenGeometry(const std::set<Geometry*>& touched)
{
    // A mesh may serve objects not seen yet: those keep it whole.
    std::set<Geometry*> waiting;
    for (StaticMesh* mesh : pending_)
        for (const auto& surface : mesh->surfaces().surfaces())
            if (surface->meshAsset && surface->meshAsset->geometry())
                waiting.insert(surface->meshAsset->geometry());
    for (Geometry* geometry : touched) {
        if (waiting.count(geometry))
            continue;
        geometry->releaseCopies();
        if (!drawnAlone_.count(geometry)) {
            geometry->releaseBuffers();
            sourcesReleased_ = true;
        }
    }
}

void BatchMerger::pointItem(Piece& piece)
{
    RenderItem& item = piece.item;
    item.transform = item.transformTwin = &identity_;
    item.normalMatrix = item.normalMatrixTwin = &identity_;
    item.box = &piece.box;
    item.layout = &piece.layout;
    item.indexBuffer = piece.indices.get();
    item.indexData = nullptr;
    item.indexWidth = 1;
    item.firstIndex = 0;
}

void BatchMerger::collect(RenderList& list)
{
    for (auto& entry : batches_) {
        for (auto& piece : entry.second.pieces) {
            SurfaceSet::takeColorRamp(piece->item);
            list.push_back(&piece->item);
        }
    }
}

size_t BatchMerger::pieceCount() const
{
    size_t n = 0;
    for (const auto& entry : batches_)
        n += entry.second.pieces.size();
    return n;
}

} // namespace Velda
