// What one frame costs on this machine's GL through the headless renderer,
// on the fast or on the specified (--faithful) path: for each project given,
// the time to load it from a filled cache, the median over many frames of a
// still scene and of a moving one (the camera orbits a step each frame; on
// the fast path at the reduced size of a moving view), the draw calls of a
// still frame by pass, and the peak resident memory of the process.
//   bench_frames [--frames N] [--faithful] NAME=PROJECT_FOLDER ...
// One path a process, so that the peak memory is the path's own.
#include "EglContext.h"
#include "OffscreenTarget.h"
#include "ProjectSession.h"

#include "platform/Platform.h"
#include "scene/Camera.h"
#include "scene/SceneRoot.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

using namespace VeldaRender;

namespace {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n == 0 ? 0.0 : (n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2.0);
}

// One step of a left drag: the camera turns about the scene's centre.
void orbitStep(Velda::Camera& camera, const Velda::Vector3& pivot)
{
    Velda::Matrix4 m = camera.getTransform();
    m.rotate(pivot, Velda::Vector3(0, 0, 1), 0.02f);
    camera.setTransform(m);
}

void measure(const std::string& name, const std::string& folder, int frames, bool faithful, const std::string& cache)
{
    RenderOptions options;
    options.project = folder;
    options.cacheDir = cache;
    options.faithful = faithful;
    {
        // Fills the cache, so that the load below reads it.
        RenderReport first;
        ProjectSession warm;
        warm.load(options, first);
    }
    RenderReport report;
    ProjectSession session;
    session.load(options, report);
    session.apply(options);
    OffscreenTarget target(options.width, options.height);
    Velda::Context3d& ctx = *session.context;
    for (int i = 0; i < 3; ++i)  // compile the variants, settle the shadow map
        session.frame(target.frameBuffer(), true);

    std::vector<double> still, moving;
    uint32_t draws[Velda::Context3d::kPassCount] = {};
    for (int i = 0; i < frames; ++i)
        still.push_back(session.frame(target.frameBuffer(), true));
    std::copy(ctx.stats.drawCalls, ctx.stats.drawCalls + Velda::Context3d::kPassCount, draws);
    const Velda::AABB3& box = session.scene->bounds();
    const Velda::Vector3 pivot = (box.getMin() + box.getMax()) * 0.5f;
    ctx.frameScale = faithful ? 1.0f : 0.5f;
    for (int i = 0; i < frames; ++i) {
        orbitStep(*session.camera, pivot);
        moving.push_back(session.frame(target.frameBuffer(), true));
    }
    ctx.frameScale = 1.0f;
    std::printf("%-16s %-9s %8llu %9.0f %9.1f %9.1f %7u %7u %7u %9ld\n", name.c_str(), faithful ? "faithful" : "fast",
                static_cast<unsigned long long>(report.objects), report.msToReady, median(still), median(moving),
                draws[Velda::Context3d::kShadowPass], draws[Velda::Context3d::kLightingPass],
                draws[Velda::Context3d::kPostPass], peakMemoryKiB() / 1024);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    int frames = 15;
    bool faithful = false, header = false;
    std::vector<std::pair<std::string, std::string>> projects;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--frames" && i + 1 < argc) {
            frames = std::max(1, std::atoi(argv[++i]));
        } else if (arg == "--faithful") {
            faithful = true;
        } else if (arg == "--header") {
            header = true;
        } else if (arg.find('=') != std::string::npos) {
            projects.emplace_back(arg.substr(0, arg.find('=')), arg.substr(arg.find('=') + 1));
        } else {
            std::cerr << "usage: bench_frames [--frames N] [--faithful] [--header] NAME=PROJECT_FOLDER ...\n";
            return 2;
        }
    }
    try {
        EglContext context;
        if (header) {
            std::printf("%s on %s, 1024x700, median ms of %d frames; draw calls of a still frame\n",
                        context.version().c_str(), context.renderer().c_str(), frames);
            std::printf("%-16s %-9s %8s %9s %9s %9s %7s %7s %7s %9s\n", "project", "path", "objects", "ready_ms",
                        "still_ms", "moving_ms", "shadow", "lit", "post", "peak_MiB");
        }
        const std::string cache = Velda::Platform::tempFolder() + "/velda-bench-frames-cache/";
        for (const auto& project : projects)
            measure(project.first, project.second, frames, faithful, cache);
    } catch (const std::exception& e) {
        std::cerr << "bench_frames: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
