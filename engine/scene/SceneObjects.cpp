#include "scene/SceneObjects.h"

#include "scene/SceneRoot.h"
#include "scene/StaticMesh.h"

#include <algorithm>

namespace Velda {

StaticMesh* meshAt(const SceneRoot& scene, uint32_t place)
{
    const std::vector<StaticMesh*>& meshes = scene.getStaticMeshes();
    return place >= 1 && place <= meshes.size() ? meshes[place - 1] : nullptr;
}

std::vector<uint32_t> placesOf(const SceneRoot& scene, const std::vector<int32_t>& objectIds)
{
    std::vector<uint32_t> places;
    for (StaticMesh* mesh : scene.getStaticMeshes())
        if (std::find(objectIds.begin(), objectIds.end(), mesh->objectId()) != objectIds.end())
            places.push_back(mesh->sceneIndex());
    return places;
}

uint64_t triangleCount(const StaticMesh& mesh)
{
    uint64_t triangles = 0;
    const SurfaceSet& set = mesh.surfaces();
    for (const auto& surface : set.surfaces())
        if (const RenderItem* item = set.itemOf(surface.get()))
            triangles += item->indexCount / 3;
    return triangles;
}

} // namespace Velda
