#include "scene/SceneBuilder.h"

#include "assets/Asset.h"
#include "assets/AssetManager.h"
#include "assets/AssetMaterial.h"
#include "assets/AssetMesh.h"
#include "scene/SceneRoot.h"
#include "scene/SenceBackGround.h"
#include "scene/StaticMesh.h"

#include <cmath>
#include <utility>

namespace Velda {

namespace {

template <typename Drawable, typename AssetKind, typename Setter>
void handTo(const std::multimap<int32_t, Drawable*>& users, void* argument, Setter set)
{
    auto* asset = dynamic_cast<AssetKind*>(Asset::fromCallbackArgument(argument));
    if (!asset)
        return;
    const auto range = users.equal_range(asset->id());
    for (auto it = range.first; it != range.second; ++it)
        set(*it->second, asset);
}

} // namespace

SceneBuilder::SceneBuilder(SceneRoot* scene, Camera* camera, AssetManager* assets)
    : scene_(scene), camera_(camera), assets_(assets)
{
}

float SceneBuilder::sceneScale(const AABB3& bounds)
{
    const float diagonal = (bounds.getMax() - bounds.getMin()).length();
    // A scene of one point has no size to scale to.
    return diagonal > 0.0f && std::isfinite(diagonal) ? 10.0f / diagonal : 1.0f;
}

void SceneBuilder::buildSky(const SceneIndex& index, const std::string& folder)
{
    const float s = sceneScale(index.bounds);
    for (const auto& entry : index.objects) {
        const IndexObject& object = entry.second;
        auto* sky = static_cast<SenceBackGround*>(scene_->createObject(SceneRoot::kBackground));
        sky->setCamera(camera_);
        for (const IndexSurface& surface : object.surfaces) {
            skyMeshUsers_.emplace(surface.meshId, sky);
            skyMaterialUsers_.emplace(surface.materialId, sky);
            sky->addSurface(surface.meshId, surface.materialId, surface.name);
        }
        sky->setTransform(object.matrix);
        sky->scale(s, s, s);
        sky->setCastShadow(false);
    }
    // The sky stays out of the expected count and so out of the progress.
    for (const std::string& name : index.materialFiles)
        assets_->load(folder + name + ".mt", [this](void* a) { return skyMaterialArrived(a); });
    for (const std::string& name : index.meshFiles)
        assets_->load(folder + name + ".me", [this](void* a) { return skyMeshArrived(a); });
}

void SceneBuilder::buildProject(const SceneIndex& index, const std::string& projectRoot)
{
    const float diagonal = (index.bounds.getMax() - index.bounds.getMin()).length();
    const float s = sceneScale(index.bounds);
    Matrix4 scaling;
    scaling.scale(s, s, s);
    // Objects whose footprint is below this are too small to matter for the
    // bounds or for the flicker of coplanar slabs.
    const double threshold = std::pow(static_cast<double>(diagonal) / 15000.0, 2.0);
    std::multimap<double, StaticMesh*> largest;
    std::multimap<float, StaticMesh*> flatness;

    for (const auto& entry : index.objects) {
        const IndexObject& object = entry.second;
        auto* mesh = static_cast<StaticMesh*>(scene_->createObject(SceneRoot::kStaticMesh));
        mesh->setObjectId(object.id);
        mesh->setName(object.name);
        for (const IndexSurface& surface : object.surfaces) {
            meshUsers_.emplace(surface.meshId, mesh);
            materialUsers_.emplace(surface.materialId, mesh);
            mesh->addSurface(surface.meshId, surface.materialId, surface.name);
        }
        // Every object casts, whatever its file says.
        mesh->setCastShadow(object.castShadow);
        mesh->setCastShadow(true);
        mesh->setTransform(object.matrix);
        mesh->scale(s, s, s);

        const Vector3& min = object.bounds.getMin();
        const Vector3& max = object.bounds.getMax();
        const double dx = static_cast<double>(max.x) - static_cast<double>(min.x);
        const double dy = static_cast<double>(max.y) - static_cast<double>(min.y);
        const double footprint = dy * dy + dx * dx;
        if (footprint > threshold) {
            largest.emplace(footprint, mesh);
            const float k = static_cast<float>((static_cast<double>(max.z) - static_cast<double>(min.z)) /
                                               std::sqrt(footprint));
            flatness.emplace(k, mesh);
        }
        mesh->setBox(AABB3(scaling.transformPoint(min), scaling.transformPoint(max)));
    }

    // Flat or small objects do not count towards the scene's bounds.
    for (const auto& entry : flatness)
        if (entry.first > 0.05f)
            scene_->extendBounds(entry.second->getBox());

    // Pull the four largest slabs apart along z so coplanar floors do not
    // flicker against each other.
    if (largest.size() >= 4) {
        static const float shifts[4] = {-0.0003f, 0.0002f, 0.0002f, -0.0001f};
        auto it = largest.rbegin();
        for (int rank = 0; rank < 4; ++rank, ++it) {
            it->second->translate(0.0f, 0.0f, shifts[rank]);
            if (rank == 0)
                it->second->setNoReflection(true);
        }
    }

    assets_->setExpectedCount(static_cast<uint32_t>(index.materialFiles.size() + index.meshFiles.size()));
    for (const std::string& name : index.materialFiles)
        assets_->load(projectRoot + name + ".mt", [this](void* a) { return materialArrived(a); });
    for (const std::string& name : index.meshFiles)
        assets_->load(projectRoot + name + ".me", [this](void* a) { return meshArrived(a); });
}

void* SceneBuilder::meshArrived(void* asset)
{
    handTo<StaticMesh, AssetMesh>(meshUsers_, asset, [](StaticMesh& m, AssetMesh* a) { m.setMesh(a); });
    return nullptr;
}

void* SceneBuilder::materialArrived(void* asset)
{
    handTo<StaticMesh, AssetMaterial>(materialUsers_, asset,
                                      [](StaticMesh& m, AssetMaterial* a) { m.setMaterial(a); });
    return nullptr;
}

void* SceneBuilder::skyMeshArrived(void* asset)
{
    handTo<SenceBackGround, AssetMesh>(skyMeshUsers_, asset,
                                       [](SenceBackGround& m, AssetMesh* a) { m.setMesh(a); });
    return nullptr;
}

void* SceneBuilder::skyMaterialArrived(void* asset)
{
    handTo<SenceBackGround, AssetMaterial>(skyMaterialUsers_, asset,
                                           [](SenceBackGround& m, AssetMaterial* a) { m.setMaterial(a); });
    return nullptr;
}

} // namespace Velda
