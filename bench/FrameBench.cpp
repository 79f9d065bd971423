// What one frame costs on this machine's GL, pass by pass: for each project
// given, the median over many frames of a still scene (the shadow map kept)
// and of a scene whose sun moves every frame (the map redrawn).
//   bench_frames [--frames N] NAME=PROJECT_FOLDER ...
#include "EglContext.h"
#include "OffscreenTarget.h"
#include "ProjectSession.h"

#include "platform/Platform.h"

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

struct Figures {
    std::vector<double> pass[Velda::Context3d::kPassCount];
    std::vector<double> frame;
    uint64_t shadowDraws = 0;
};

void printRow(const std::string& name, const char* mode, const Figures& f)
{
    std::printf("%-14s %-7s", name.c_str(), mode);
    for (const auto& pass : f.pass)
        std::printf(" %9.2f", median(pass));
    std::printf(" %9.2f %8llu\n", median(f.frame), static_cast<unsigned long long>(f.shadowDraws));
}

void measure(const std::string& name, const std::string& folder, int frames, const std::string& cache)
{
    RenderOptions options;
    options.project = folder;
    options.cacheDir = cache;
    RenderReport report;
    ProjectSession session;
    session.load(options, report);
    session.apply(options);
    session.context->stats.finishEachPass = true;
    OffscreenTarget target(options.width, options.height);
    for (int i = 0; i < 3; ++i)  // compile the variants, settle the shadow map
        session.frame(target.frameBuffer(), true);

    for (const bool moving : {false, true}) {
        Figures figures;
        const uint64_t drawsBefore = session.context->stats.shadowDraws;
        for (int i = 0; i < frames; ++i) {
            if (moving)
                session.turnSun(session.context->timeAngle + 0.01f);
            figures.frame.push_back(session.frame(target.frameBuffer(), true));
            for (int p = 0; p < Velda::Context3d::kPassCount; ++p)
                figures.pass[p].push_back(session.context->stats.passMs[p]);
        }
        figures.shadowDraws = session.context->stats.shadowDraws - drawsBefore;
        printRow(name + " (" + std::to_string(report.objects) + ")", moving ? "moving" : "still", figures);
    }
}

} // namespace

int main(int argc, char** argv)
{
    int frames = 15;
    std::vector<std::pair<std::string, std::string>> projects;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--frames" && i + 1 < argc) {
            frames = std::max(1, std::atoi(argv[++i]));
        } else if (arg.find('=') != std::string::npos) {
            projects.emplace_back(arg.substr(0, arg.find('=')), arg.substr(arg.find('=') + 1));
        } else {
            std::cerr << "usage: bench_frames [--frames N] NAME=PROJECT_FOLDER ...\n";
            return 2;
        }
    }
    try {
        EglContext context;
        const std::string cache = Velda::Platform::tempFolder() + "/velda-bench-frames-cache/";
        std::printf("%s on %s, 1024x700, median ms of %d frames (CPU waits for the driver after each pass)\n",
                    context.version().c_str(), context.renderer().c_str(), frames);
        std::printf("%-14s %-7s %9s %9s %9s %9s %9s %8s\n", "project", "sun", "shadow", "lighting", "post",
                    "overlay", "frame", "maps");
        for (const auto& project : projects)
            measure(project.first, project.second, frames, cache);
    } catch (const std::exception& e) {
        std::cerr << "bench_frames: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
