#pragma once

#include "RenderOptions.h"
#include "RenderReport.h"

#include "render/Context3d.h"
#include "scene/SunDial.h"

#include <chrono>
#include <memory>

namespace Velda {
class AssetManager;
class Camera;
class SceneRoot;
class SpotLight;
}

namespace VeldaClient {
class ProjectLoader;
}

namespace VeldaRender {

// One project loaded for drawing without a window: the renderer, the asset
// manager, the scene with the viewer's camera and sun. Released in the
// viewer's order: renderer, scene, assets. Needs a current GL context.
class ProjectSession {
public:
    ProjectSession();
    ~ProjectSession();
    ProjectSession(const ProjectSession&) = delete;
    ProjectSession& operator=(const ProjectSession&) = delete;

    // Boots the sky, streams the project through the disk cache and hands
    // every finished job over until the scene is ready or nothing more can
    // arrive. Throws std::runtime_error with a one-line reason.
    void load(const RenderOptions& options, RenderReport& report);
    // Only queues the sky and the project: the frames hand the files over,
    // as the viewer's do.
    void startLoading(const RenderOptions& options);
    // Size, picture settings, camera and sun as the options say.
    void apply(const RenderOptions& options);
    // Moves the sun along the day, as dragging the outer dial does.
    void turnSun(float timeAngle);
    // One whole frame into the frame buffer; its wall time in ms.
    double frame(unsigned int frameBuffer, bool dial);

    Velda::Context3d* context = nullptr;
    std::unique_ptr<Velda::AssetManager> assets;
    std::unique_ptr<Velda::SceneRoot> scene;
    Velda::Camera* camera = nullptr;
    Velda::SpotLight* sun = nullptr;
    std::unique_ptr<VeldaClient::ProjectLoader> loader;

    static const char* const kPassNames[Velda::Context3d::kPassCount];

private:
    void pump(RenderReport& report, std::chrono::steady_clock::time_point start);

    Velda::SunDial dial;
};

} // namespace VeldaRender
