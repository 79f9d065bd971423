#include "UserInterface/Widgets/FrameSignature.h"

#include "Common/GraphicsContext.h"
#include "assets/AssetManager.h"
#include "jobs/JobManager.h"
#include "render/Context3d.h"
#include "scene/Camera.h"
#include "scene/SpotLight.h"

#include <cstring>

namespace VeldaClient {

namespace {

bool sameBits(const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0);
}

void append(std::vector<float>& to, const Velda::Vector4& v)
{
    to.insert(to.end(), {v.x, v.y, v.z, v.w});
}

} // namespace

FrameSignature FrameSignature::capture()
{
    FrameSignature s;
    GraphicsContext* hub = GraphicsContext::instance();
    if (Velda::Camera* camera = hub->camera()) {
        const Velda::Matrix4& transform = camera->getTransform();
        s.camera.assign(transform.m, transform.m + 16);
        s.camera.insert(s.camera.end(), {static_cast<float>(camera->getProjectionType()), camera->getFov(),
                                         camera->getNear(), camera->getFar()});
        append(s.camera, camera->getOrthoBounds());
        append(s.camera, camera->getViewport());
    }
    if (const Velda::Context3d* c = hub->context3d()) {
        s.scene = {c->timeAngle,
                   c->azimuthAngle,
                   static_cast<float>(c->outerDialHot),
                   static_cast<float>(c->innerDialHot),
                   static_cast<float>(c->shadowWidth),
                   static_cast<float>(c->shadowHeight),
                   c->shadowShade,
                   c->bloomCoefficient,
                   c->ssaoPower,
                   c->ssaoKernelSize,
                   static_cast<float>(c->whiteModel),
                   static_cast<float>(c->nightMode),
                   static_cast<float>(c->constantLight),
                   c->dialMarginX,
                   c->dialMarginY,
                   static_cast<float>(c->viewportWidth),
                   static_cast<float>(c->viewportHeight)};
    }
    if (Velda::SpotLight* sun = hub->spotLight())
        s.scene.push_back(static_cast<float>(sun->getCastShadow()));
    const Velda::Vector3 pivot = hub->orbitPivot();
    s.scene.insert(s.scene.end(), {pivot.x, pivot.y, pivot.z});

    Velda::AssetManager* assets = Velda::AssetManager::instance();
    s.busy = !assets || !assets->isReady() || !Velda::JobManager::instance().idle();
    s.flying = hub->flying();
    return s;
}

bool FrameSignature::sameCamera(const FrameSignature& other) const
{
    return sameBits(camera, other.camera);
}

bool FrameSignature::operator==(const FrameSignature& other) const
{
    return busy == other.busy && flying == other.flying && sameBits(camera, other.camera) &&
           sameBits(scene, other.scene);
}

} // namespace VeldaClient
