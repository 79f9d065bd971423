// The fast path (culling, merged batches, the skipped bloom level) draws the picture of the specified path: still frames of the same
// loaded project, drawn both ways from several cameras, differ in at most
// 0.1 % of their pixels by more than 2 levels (coplanar faces may tie the
// other way). Also: the reduced frames of a moving camera fill the whole
// view, and the fast path issues fewer draw calls. And a project of
// some 200 files gets ready through a frame loop in far fewer frames than
// files, each frame handing over what fits in its budget.
#include "EglContext.h"
#include "OffscreenTarget.h"
#include "ProjectSession.h"

#include "Process.h"
#include "TempDir.h"
#include "render/Context3d.h"
#include "Common/ProjectLoader.h"
#include "assets/AssetManager.h"
#include "scene/AABB3.h"
#include "scene/SceneRoot.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using VeldaRender::RenderOptions;

namespace {

const std::string kSamples = SAMPLES_PATH;
const std::string kPack = VELDA_PACK_PATH;

struct Difference {
    double share = 0;  // of pixels off by more than 2 levels in some channel
    int largest = 0;
};

Difference compare(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b)
{
    size_t off = 0;
    Difference d;
    for (size_t i = 0; i + 3 < a.size(); i += 4) {
        int worst = 0;
        for (size_t c = 0; c < 3; ++c)
            worst = std::max(worst, std::abs(static_cast<int>(a[i + c]) - static_cast<int>(b[i + c])));
        off += worst > 2;
        d.largest = std::max(d.largest, worst);
    }
    d.share = static_cast<double>(off) / static_cast<double>(a.size() / 4);
    return d;
}

// Eyes around and inside the scene's box, in scene units, each looking at
// the box's centre or across it.
std::vector<std::pair<std::vector<float>, std::string>> cameras(const Velda::AABB3& box)
{
    const Velda::Vector3 lo = box.getMin(), hi = box.getMax();
    const Velda::Vector3 c = (lo + hi) * 0.5f, d = hi - lo;
    auto at = [&](float x, float y, float z) { return std::vector<float>{c.x + d.x * x, c.y + d.y * y, c.z + d.z * z}; };
    const std::vector<float> centre = {c.x, c.y, c.z};
    auto join = [](std::vector<float> eye, const std::vector<float>& target) {
        eye.insert(eye.end(), target.begin(), target.end());
        return eye;
    };
    return {
        {join(at(1.2f, -1.4f, 1.0f), centre), "above a corner"},
        {join(at(-0.9f, 0.2f, 0.1f), centre), "low from one side"},
        {join(at(0.05f, -0.05f, 0.0f), at(0.6f, 0.5f, -0.1f)), "inside, half the scene behind"},
    };
}

class RenderPaths : public ::testing::Test {
protected:
    void SetUp() override
    {
        unsetenv("DISPLAY");
    }

    // Loads the project once, then draws each camera with bloom off and at
    // its default, on the specified path and on the fast one.
    void expectSamePictures(const std::string& project, bool merges)
    {
        VeldaRender::EglContext egl;
        RenderOptions options;
        options.project = project;
        options.cacheDir = cache_.file("c" + std::to_string(loads_++));
        options.faithful = true;  // keeps what both paths need
        VeldaRender::RenderReport report;
        VeldaRender::ProjectSession session;
        session.load(options, report);
        session.apply(options);
        VeldaRender::OffscreenTarget target(options.width, options.height);
        Velda::Context3d& ctx = *session.context;

        for (const auto& view : cameras(session.scene->bounds())) {
            options.camera = RenderOptions::CameraMode::Explicit;
            std::copy(view.first.begin(), view.first.begin() + 3, options.eye);
            std::copy(view.first.begin() + 3, view.first.end(), options.target);
            for (const int bloom : {0, 21}) {
                options.bloom = bloom;
                session.apply(options);
                // A new view settles in its second frame (the shadow map, the
                // measured luminance): that is the still picture.
                const auto still = [&](bool faithfulPath) {
                    ctx.faithful = faithfulPath;
                    for (int i = 0; i < 2; ++i)
                        session.frame(target.frameBuffer(), false);
                    return target.readRgba();
                };
                const std::vector<unsigned char> faithful = still(true);
                const uint32_t faithfulDraws = ctx.stats.drawCalls[Velda::Context3d::kLightingPass];
                const std::vector<unsigned char> fast = still(false);
                const uint32_t fastDraws = ctx.stats.drawCalls[Velda::Context3d::kLightingPass];

                const Difference d = compare(faithful, fast);
                EXPECT_LE(d.share, 0.001) << project << ", " << view.second << ", bloom " << bloom
                                          << ": largest difference " << d.largest;
                EXPECT_LE(fastDraws, faithfulDraws) << project << ", " << view.second;
                EXPECT_GT(fastDraws, 0u) << project << ", " << view.second;
                // Big scenes are drawn in batches of many objects.
                if (merges)
                    EXPECT_LT(fastDraws * 5, faithfulDraws * 3) << project << ", " << view.second;
                EXPECT_EQ(ctx.batchCount() > 0, merges) << project;
            }
        }

        // A reduced frame of a moving camera still covers the whole view:
        // it is the full frame, softer, not a corner of it.
        ctx.faithful = false;
        ctx.frameScale = 0.5f;
        session.frame(target.frameBuffer(), false);
        const Difference reduced = compare(target.readRgba(), [&] {
            ctx.frameScale = 1.0f;
            session.frame(target.frameBuffer(), false);
            return target.readRgba();
        }());
        EXPECT_LT(reduced.share, 0.5) << project << ": the reduced frame is not the same view";
    }

    VeldaTest::TempDir cache_;
    int loads_ = 0;
};

} // namespace

TEST_F(RenderPaths, SamplesLookTheSameOnBothPaths)
{
    for (const char* sample : {"fzk-haus", "2cylinder-engine", "milk-truck"})
        expectSamePictures(kSamples + "/" + sample, false);
}

TEST_F(RenderPaths, CityLooksTheSameOnBothPaths)
{
    const std::string city = cache_.file("city");
    const VeldaTest::ProcessResult packed = VeldaTest::runProcess({kPack, "synth", city, "--objects", "800"});
    ASSERT_EQ(packed.exitCode, 0) << packed.err;
    expectSamePictures(city, true);
}

TEST_F(RenderPaths, TwoHundredBundlesGetReadyThroughTheFrameLoop)
{
    const std::string city = cache_.file("bundles");
    const VeldaTest::ProcessResult packed = VeldaTest::runProcess(
        {kPack, "synth", city, "--objects", "2000", "--bundle-bytes", "85000", "--report"});
    ASSERT_EQ(packed.exitCode, 0) << packed.err;

    VeldaRender::EglContext egl;
    RenderOptions options;
    options.project = city;
    options.cacheDir = cache_.file("bundles-cache");
    options.width = 320;
    options.height = 220;
    VeldaRender::ProjectSession session;
    session.startLoading(options);
    session.apply(options);
    VeldaRender::OffscreenTarget target(options.width, options.height);
    int frames = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(5);
    while (!session.assets->isReady() && std::chrono::steady_clock::now() < deadline) {
        session.frame(target.frameBuffer(), false);
        ++frames;
    }
    ASSERT_TRUE(session.assets->isReady()) << "not ready after " << frames << " frames";
    const size_t bundles = session.loader->bundleCount();
    EXPECT_GE(bundles, 200u);
    // Three passes of the frame loop hand jobs over; one job a frame would
    // need a frame a file.
    EXPECT_LT(static_cast<size_t>(frames), bundles / 2) << bundles << " bundles";
    EXPECT_EQ(session.scene->getStaticMeshes().size(), 2000u);
    std::printf("%d frames for %zu bundles\n", frames, bundles);
}
