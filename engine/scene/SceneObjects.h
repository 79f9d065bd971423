#pragma once

#include <cstdint>
#include <vector>

namespace Velda {

class SceneRoot;
class StaticMesh;

// The mesh at a 1-based place among the scene's meshes, or null.
StaticMesh* meshAt(const SceneRoot& scene, uint32_t place);
// The places of the meshes with these ids of the project's index; ids that
// no mesh has are left out.
std::vector<uint32_t> placesOf(const SceneRoot& scene, const std::vector<int32_t>& objectIds);
// The triangles a mesh draws, over all its surfaces.
uint64_t triangleCount(const StaticMesh& mesh);

} // namespace Velda
