#include "ProjectRenderer.h"
#include "ProjectSession.h"

#include "OffscreenTarget.h"
#include "ReviewProbe.h"

#include "Common/ProjectLoader.h"
#include "assets/AssetManager.h"
#include "assets/AssetMaterial.h"
#include "assets/DiskCache.h"
#include "formats/Geometry.h"
#include "jobs/JobManager.h"
#include "platform/Platform.h"
#include "render/Context3d.h"
#include "scene/Camera.h"
#include "scene/MiniMapFraming.h"
#include "scene/OverviewFraming.h"
#include "scene/SceneRoot.h"
#include "scene/SpotLight.h"
#include "scene/StaticMesh.h"
#include "scene/SunDial.h"
#include "scene/ViewerDefaults.h"

#include <GL/glew.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <set>
#include <stdexcept>
#include <sys/stat.h>
#include <thread>

namespace VeldaRender {

namespace {

using Clock = std::chrono::steady_clock;
using Velda::AABB3;
using Velda::Vector3;

const float kStartTimeAngle = 2.356194f;
const float kStartAzimuth = 5.497787f;
// Long enough for a large project over a slow link; a stalled transfer
// ends the wait sooner, when the job queues run empty.
const double kLoadLimitSeconds = 1800.0;

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

bool isFolder(const std::string& path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isFile(const std::string& path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// A folder becomes a file:// root with its separator; an address is taken
// as it is.
std::string rootAddress(const std::string& project)
{
    if (project.find("://") != std::string::npos)
        return project;
    if (!isFolder(project))
        throw std::runtime_error("no project folder " + project);
    char resolved[PATH_MAX];
    if (!realpath(project.c_str(), resolved))
        throw std::runtime_error("cannot resolve " + project);
    const std::string folder(resolved);
    if (!isFile(folder + "/index"))
        throw std::runtime_error(project + " has no index");
    return Velda::DiskCache::localAddress(folder + "/");
}

// The failure of an index, with the reason the parser nested in it.
std::string describe(const std::exception& e)
{
    std::string text = e.what();
    try {
        std::rethrow_if_nested(e);
    } catch (const std::exception& inner) {
        text += " (" + describe(inner) + ")";
    } catch (...) {
    }
    return text;
}

// The scene's bounds, or, for a scene whose objects are all flat, the box
// of everything placed.
AABB3 sceneBox(Velda::SceneRoot& scene)
{
    AABB3 box = scene.bounds();
    if (box.getMin() != box.getMax())
        return box;
    AABB3 all;
    all.resetEmpty();
    for (Velda::StaticMesh* mesh : scene.getStaticMeshes())
        all.extend(mesh->getBox());
    if (all.getMin().x <= all.getMax().x)
        return all;
    return AABB3(Vector3(-5, -5, -5), Vector3(5, 5, 5));
}

void placeCamera(Velda::Camera& camera, const RenderOptions& options, Velda::SceneRoot& scene)
{
    const float aspect = static_cast<float>(options.width) / static_cast<float>(options.height);
    switch (options.camera) {
    case RenderOptions::CameraMode::Overview:
        Velda::placeOverview(camera, sceneBox(scene), aspect, options.ortho);
        break;
    case RenderOptions::CameraMode::Start: {
        Velda::MiniMapFraming framing;
        framing.setStartView(options.faithful ? Velda::MiniMapFraming::StartView::Specified
                                              : Velda::MiniMapFraming::StartView::Overview);
        Vector3 pivot;
        framing.update(scene.bounds(), camera, pivot);
        break;
    }
    case RenderOptions::CameraMode::Explicit: {
        const Vector3 eye(options.eye[0], options.eye[1], options.eye[2]);
        camera.setPosition(eye);
        camera.lookAt(Vector3(options.target[0], options.target[1], options.target[2]), Vector3(0, 0, 1));
        camera.setPosition(eye);
        break;
    }
    }
}

uint64_t textureCount(Velda::SceneRoot& scene)
{
    std::set<const Velda::Asset*> textures;
    for (Velda::StaticMesh* mesh : scene.getStaticMeshes())
        for (const auto& surface : mesh->surfaces().surfaces())
            if (surface->materialAsset)
                for (const auto& entry : surface->materialAsset->textures())
                    textures.insert(entry.second);
    return textures.size();
}

} // namespace

ProjectSession::ProjectSession()
{
    context = Velda::Context3d::instance();
    assets = std::make_unique<Velda::AssetManager>(context);
    context->initialize();
    glHint(GL_LINE_SMOOTH_HINT, GL_NICEST);
    glHint(GL_POLYGON_SMOOTH_HINT, GL_NICEST);
    glHint(GL_FRAGMENT_SHADER_DERIVATIVE_HINT, GL_NICEST);
    scene = std::make_unique<Velda::SceneRoot>();
    camera = Velda::createViewerCamera(*scene);
    sun = Velda::createViewerSun(*scene);
    loader = std::make_unique<VeldaClient::ProjectLoader>(scene.get(), camera, assets.get());
}

ProjectSession::~ProjectSession()
{
    Velda::Context3d::destroyInstance();
    loader.reset();
    scene.reset();
    assets.reset();
}

void ProjectSession::load(const RenderOptions& options, RenderReport& report)
{
    const Clock::time_point start = Clock::now();
    startLoading(options);
    pump(report, start);
    report.msToReady = msSince(start);
    report.objects = scene->getStaticMeshes().size();
    report.bundles = loader->bundleCount();
    report.textures = textureCount(*scene);
}

namespace {
// Files the worker parses ahead of the hand-over on the fast path.
const size_t kParsedAhead = 32;
} // namespace

void ProjectSession::startLoading(const RenderOptions& options)
{
    context->faithful = options.faithful;
    assets->setKeepGeometryCopies(options.faithful);
    // The worker parses no more than a few files ahead of the hand-over.
    Velda::JobManager::instance().setFinishedLimit(options.faithful ? 0 : kParsedAhead);
    std::string rootPath = rootAddress(options.project);
    const std::string programFolder = Velda::Platform::programFolder();
    if (!isFile(programFolder + "/SkyResources/index"))
        throw std::runtime_error("no SkyResources beside the program in " + programFolder);
    std::string cacheBase = options.cacheDir.empty() ? Velda::Platform::appDataFolder() : options.cacheDir;
    if (cacheBase.back() != '/')
        cacheBase += '/';
    if (!Velda::Platform::makeDirectories(cacheBase))
        throw std::runtime_error("cannot make the cache folder " + cacheBase);
    std::string projectRoot;
    loader->start(programFolder, cacheBase, rootPath, projectRoot);
}

// Hands over finished jobs as fast as they come, until the scene is ready
// or nothing more can arrive.
void ProjectSession::pump(RenderReport& report, std::chrono::steady_clock::time_point start)
{
    Velda::JobManager& jobs = Velda::JobManager::instance();
    bool indexSeen = false;
    while (msSince(start) < kLoadLimitSeconds * 1000.0) {
        const bool handed = !jobs.finishedJobs().empty();
        try {
            jobs.finishOne();
        } catch (const std::exception& e) {
            throw std::runtime_error("cannot read an index: " + describe(e));
        }
        if (handed)
            context->mergeArrived(scene.get());  // drops the copies it has seen
        if (!indexSeen && loader->indexParsed()) {
            indexSeen = true;
            report.msToIndex = msSince(start);
        }
        if (indexSeen && assets->isReady())
            return;
        if (jobs.idle())
            break;  // a file that failed stays missing: draw what is there
        if (!handed)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!indexSeen)
        throw std::runtime_error("the project index did not arrive");
}

void ProjectSession::apply(const RenderOptions& options)
{
    Velda::Context3d& ctx = *context;
    ctx.viewportWidth = options.width;
    ctx.viewportHeight = options.height;
    ctx.whiteModel = options.white;
    ctx.variantsDirty = true;
    ctx.setBloomCoefficient(options.bloom);
    ctx.setShadowQuality(options.shadowQuality, sun);
    ctx.setShadowShade(options.shadowShade);
    ctx.setSSAOLevel(options.ssao);
    // Where the viewer's dial sits in its overlay: 20 and 16 pixels from
    // the lower right corner at any window size.
    ctx.dialMarginX = 20.0f;
    ctx.dialMarginY = 16.0f;

    camera->setViewport(0.0f, 0.0f, static_cast<float>(options.width), static_cast<float>(options.height));
    camera->setProjectionType(options.ortho ? Velda::Camera::kOrthographic : Velda::Camera::kPerspective);
    placeCamera(*camera, options, *scene);
    applyReviewOptions(*this, options);

    // The sun turns as the viewer's dial turns it, from its two angles.
    ctx.timeAngle = options.hasTimeAngle ? options.timeAngle : kStartTimeAngle;
    ctx.azimuthAngle = options.hasAzimuth ? options.azimuth : kStartAzimuth;
    dial.turnByAzimuth(ctx.azimuthAngle, scene->bounds(), *sun);
    dial.turnByTime(ctx.timeAngle, scene->bounds(), *sun);
}

void ProjectSession::turnSun(float timeAngle)
{
    context->timeAngle = timeAngle;
    dial.turnByTime(timeAngle, scene->bounds(), *sun);
}

double ProjectSession::frame(unsigned int frameBuffer, bool dial)
{
    const Clock::time_point start = Clock::now();
    context->begin(camera, -1, static_cast<int>(frameBuffer));
    context->render(scene.get(), true, true, true, dial);
    context->end();
    glFinish();
    return msSince(start);
}

std::vector<unsigned char> renderProject(const RenderOptions& options, RenderReport& report)
{
    ProjectSession session;
    session.load(options, report);
    session.apply(options);
    OffscreenTarget target(options.width, options.height);
    const int frames = std::max(1, options.frames);
    for (int i = 0; i < frames; ++i)
        report.msFrame = session.frame(target.frameBuffer(), options.dial);
    std::vector<unsigned char> picture = target.readRgba();
    report.probes = reviewProbes(session, options, target.frameBuffer());

    const Velda::FrameStats& stats = session.context->stats;
    report.triangles = Velda::Geometry::triangleTotal();
    report.shadowDraws = stats.shadowDraws;
    for (int i = 0; i < Velda::Context3d::kPassCount; ++i) {
        report.passMs[ProjectSession::kPassNames[i]] = stats.passMs[i];
        report.drawCalls[ProjectSession::kPassNames[i]] = stats.drawCalls[i];
    }
    return picture;
}

const char* const ProjectSession::kPassNames[Velda::Context3d::kPassCount] = {"shadow", "lighting", "post", "overlay"};

} // namespace VeldaRender
