// The review tools in the renderer, on real projects drawn headless: the id
// pass names the object drawn at a pixel (checked against the id pass of
// that object alone and of the scene without it), hiding and isolating
// change the picture only where those objects were, the section box leaves
// exactly what lies inside it, and a measurement between two known
// vertices of the FZK house comes out within a millimetre.
#include "EglContext.h"
#include "OffscreenTarget.h"
#include "ProjectSession.h"

#include "Process.h"
#include "TempDir.h"
#include "Common/ProjectLoader.h"
#include "formats/ProjectProps.h"
#include "render/Context3d.h"
#include "render/PickPass.h"
#include "scene/Camera.h"
#include "scene/Measurement.h"
#include "scene/SceneObjects.h"
#include "scene/SceneRoot.h"
#include "scene/StaticMesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

using Velda::PickHit;
using Velda::Vector3;
using VeldaRender::RenderOptions;

namespace {

const std::string kSamples = SAMPLES_PATH;
const std::string kPack = VELDA_PACK_PATH;

float distance(const Vector3& a, const Vector3& b)
{
    return (a - b).length();
}

class RenderReview : public ::testing::Test {
protected:
    void SetUp() override { unsetenv("DISPLAY"); }
    void TearDown() override { unload(); }

    // In the order they were made backwards: the context goes last.
    void unload()
    {
        pass.reset();
        target.reset();
        session.reset();
        egl.reset();
    }

    // Loads a project with a small picture, shadows and bloom off: colour
    // changes then come from the objects alone.
    void load(const std::string& project)
    {
        unload();
        egl.reset(new VeldaRender::EglContext());
        options = RenderOptions();
        options.project = project;
        options.cacheDir = dir.file("cache");
        options.width = 320;
        options.height = 220;
        options.bloom = 0;
        options.shadowQuality = 0;
        session.reset(new VeldaRender::ProjectSession());
        session->load(options, report);
        session->apply(options);
        target.reset(new VeldaRender::OffscreenTarget(options.width, options.height));
        pass.reset(new Velda::PickPass(session->context));
    }

    void look(const Vector3& eye, const Vector3& at)
    {
        options.camera = RenderOptions::CameraMode::Explicit;
        for (int i = 0; i < 3; ++i) {
            options.eye[i] = eye.at(i);
            options.target[i] = at.at(i);
        }
        session->apply(options);
    }

    PickHit pick(int x, int y) { return pass->pick(session->scene.get(), session->camera, x, y, target->frameBuffer()); }
    std::vector<PickHit> viewMap() { return pass->viewMap(session->scene.get(), session->camera, target->frameBuffer()); }

    std::vector<unsigned char> picture()
    {
        for (int i = 0; i < 2; ++i)
            session->frame(target->frameBuffer(), false);
        return target->readRgba();
    }

    Velda::ReviewState& review() { return session->context->review; }
    size_t objects() const { return session->scene->getStaticMeshes().size(); }

    // Three views of the scene's box: above a corner, low from a side, close in.
    std::vector<std::pair<Vector3, Vector3>> views() const
    {
        const Velda::AABB3& box = session->scene->bounds();
        const Vector3 lo = box.getMin(), hi = box.getMax();
        const Vector3 c = (lo + hi) * 0.5f, d = hi - lo;
        return {{c + Vector3(d.x * 1.2f, -d.y * 1.4f, d.z * 1.0f), c},
                {c + Vector3(-d.x * 0.9f, d.y * 0.2f, d.z * 0.1f), c},
                {c + Vector3(d.x * 0.4f, -d.y * 0.5f, d.z * 0.6f), c + Vector3(0, 0, -d.z * 0.2f)}};
    }

    // For a grid of pixels from each view: what the id pass names at a pixel
    // is the object that the pass of it alone shows there at the same point,
    // and without it the pixel shows something behind that point, or nothing.
    void expectPicksAgree(const std::string& name)
    {
        for (const auto& view : views()) {
            look(view.first, view.second);
            std::map<uint32_t, std::pair<int, int>> seen;  // an object and one pixel of it
            int hits = 0;
            const std::vector<PickHit> map = viewMap();
            for (int y = 10; y < options.height; y += 20)
                for (int x = 10; x < options.width; x += 20) {
                    const uint32_t object = map[static_cast<size_t>(y) * options.width + x].object;
                    if (object == 0)
                        continue;
                    ++hits;
                    ASSERT_LE(object, objects()) << name;
                    seen.emplace(object, std::make_pair(x, y));
                }
            ASSERT_GT(hits, 0) << name << ": nothing under a grid of pixels";
            int checked = 0;
            for (const auto& entry : seen) {
                if (checked++ == 4)
                    break;
                const int x = entry.second.first, y = entry.second.second;
                const PickHit front = pick(x, y);
                review().isolate({entry.first}, objects());
                const PickHit alone = pick(x, y);
                review().showAll();
                review().hide({entry.first});
                const PickHit behind = pick(x, y);
                review().showAll();
                EXPECT_EQ(alone.object, entry.first) << name << " at " << x << "," << y;
                EXPECT_LT(distance(alone.point, front.point), 1e-4f) << name;
                EXPECT_NE(behind.object, entry.first) << name;
                const Vector3 eye = session->camera->getPosition();
                if (behind.object)
                    EXPECT_GE(distance(eye, behind.point), distance(eye, front.point) - 1e-4f) << name;
            }
        }
    }

    VeldaTest::TempDir dir;
    std::unique_ptr<VeldaRender::EglContext> egl;
    RenderOptions options;
    VeldaRender::RenderReport report;
    std::unique_ptr<VeldaRender::ProjectSession> session;
    std::unique_ptr<VeldaRender::OffscreenTarget> target;
    std::unique_ptr<Velda::PickPass> pass;
};

// Pixels whose colour differs by more than two levels, as a mask.
std::vector<bool> changed(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b)
{
    std::vector<bool> mask(a.size() / 4);
    for (size_t i = 0; i < mask.size(); ++i)
        for (int c = 0; c < 3; ++c)
            if (std::abs(a[4 * i + c] - b[4 * i + c]) > 2)
                mask[i] = true;
    return mask;
}

} // namespace

TEST_F(RenderReview, PicksNameTheObjectDrawnThere)
{
    for (const char* sample : {"fzk-haus", "2cylinder-engine", "milk-truck"}) {
        load(kSamples + "/" + sample);
        expectPicksAgree(sample);
        EXPECT_EQ(pick(-1, 5).object, 0u) << "outside the view";
    }
    // A city big enough to be drawn in merged batches: the objects inside a
    // batch are told apart, hidden and isolated one by one.
    const std::string city = dir.file("city");
    const VeldaTest::ProcessResult packed = VeldaTest::runProcess({kPack, "synth", city, "--objects", "600"});
    ASSERT_EQ(packed.exitCode, 0) << packed.err;
    load(city);
    expectPicksAgree("city");
    EXPECT_GT(session->context->batchCount(), 0u);
}

TEST_F(RenderReview, HidingChangesThePictureOnlyWhereTheObjectWas)
{
    load(kSamples + "/fzk-haus");
    const std::vector<unsigned char> plain = picture();
    // The object under the middle of the view (the roof) and where it shows.
    const uint32_t roof = pick(options.width / 2, options.height / 2).object;
    ASSERT_NE(roof, 0u);
    const std::vector<PickHit> map = viewMap();
    ASSERT_EQ(map.size(), plain.size() / 4);
    // How many of a pixel's 3x3 neighbourhood are the roof's (edges are
    // multisampled, so only whole neighbourhoods count as inside).
    const auto roofAround = [&](int x, int y) {
        int n = 0;
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) {
                const int px = x + dx, py = y + dy;
                n += px >= 0 && py >= 0 && px < options.width && py < options.height &&
                     map[static_cast<size_t>(py) * options.width + px].object == roof;
            }
        return n;
    };
    review().hide({roof});
    const std::vector<bool> hidden = changed(plain, picture());
    review().showAll();
    review().isolate({roof}, objects());
    const std::vector<bool> isolated = changed(plain, picture());
    review().showAll();

    size_t inside = 0, goneInside = 0, strayHidden = 0, strayIsolated = 0;
    for (int y = 0; y < options.height; ++y)
        for (int x = 0; x < options.width; ++x) {
            const size_t i = static_cast<size_t>(y) * options.width + x;
            const int around = roofAround(x, y);
            if (around == 9) {
                ++inside;
                goneInside += hidden[i];
                strayIsolated += isolated[i];
            }
            strayHidden += around == 0 && hidden[i];
        }
    ASSERT_GT(inside, 1000u);
    EXPECT_GT(goneInside * 10, inside * 9) << "hiding the roof left it in the picture";
    EXPECT_LE(strayHidden * 1000, inside) << "hiding the roof changed pixels away from it";
    // The exposure follows the picture's average luminance, which loses the
    // ground and the walls: a few of the roof's pixels may move by a level.
    EXPECT_LE(strayIsolated * 200, inside) << "isolating the roof changed the roof in " << strayIsolated << " pixels";
    EXPECT_EQ(picture(), plain) << "showing all again is not the first picture";
}

TEST_F(RenderReview, SectionBoxLeavesExactlyWhatLiesInside)
{
    load(kSamples + "/fzk-haus");
    look(Vector3(1.5f, -4.0f, 5.0f), Vector3(2.4f, 2.0f, 0.2f));
    const std::vector<unsigned char> whole = picture();
    const PickHit roofHit = pick(options.width / 2, options.height / 2);
    ASSERT_NE(roofHit.object, 0u);

    // Everything below the eaves of the ground floor: the roof goes, the
    // rooms show.
    const Velda::AABB3 box(Vector3(-10, -10, -10), Vector3(10, 10, 0.9f));
    const std::vector<PickHit> before = viewMap();
    review().setSection(box);
    const std::vector<PickHit> after = viewMap();
    size_t inside = 0;
    for (size_t i = 0; i < after.size(); ++i) {
        if (after[i].object)
            EXPECT_LE(after[i].point.z, 0.9f + 1e-4f) << "pixel " << i << ": a point above the box is drawn";
        // What lay in front and inside the box stays as it was.
        if (before[i].object && before[i].point.z < 0.9f - 1e-3f) {
            ++inside;
            EXPECT_EQ(after[i].object, before[i].object) << "pixel " << i;
        }
    }
    EXPECT_GT(inside, 2000u);
    const PickHit below = pick(options.width / 2, options.height / 2);
    EXPECT_NE(below.object, roofHit.object) << "the roof is still under the middle of the view";

    // The inside shows: much of the middle of the picture changes.
    const std::vector<bool> opened = changed(whole, picture());
    size_t middle = 0, count = 0;
    for (int y = options.height / 4; y < options.height * 3 / 4; ++y)
        for (int x = options.width / 4; x < options.width * 3 / 4; ++x, ++count)
            middle += opened[static_cast<size_t>(y) * options.width + x];
    EXPECT_GT(middle * 4, count) << "the cut house looks like the whole one";
    review().clearSection();
    EXPECT_EQ(picture(), whole);
}

TEST_F(RenderReview, MeasuresBetweenKnownVerticesWithinAMillimetre)
{
    load(kSamples + "/fzk-haus");
    const Velda::ProjectProps* props = session->loader->props();
    ASSERT_TRUE(props);
    ASSERT_GT(props->metresPerUnit, 0.0);
    const float scale = session->loader->sceneScale();
    // The terrain's upper corners, 18 m apart along x (model metres).
    const Vector3 a = Vector3(-3.0f, -3.0f, 0.0f) * scale;
    const Vector3 b = Vector3(15.0f, -3.0f, 0.0f) * scale;
    look(Vector3(6.0f * scale, -14.0f * scale, 9.0f * scale), Vector3(6.0f * scale, 5.0f * scale, 0.0f));
    picture();
    Velda::Camera& camera = *session->camera;
    const Velda::Matrix4 viewProjection = camera.getProjection() * camera.getInverseTransform();
    const auto pixelOf = [&](const Vector3& p, int dx) {
        const Vector3 ndc = viewProjection.transformPoint(p);
        return std::make_pair(static_cast<int>((ndc.x * 0.5f + 0.5f) * options.width) + dx,
                              static_cast<int>((0.5f - ndc.y * 0.5f) * options.height) - 2);
    };
    // Clicked a few pixels off each corner, inside the terrain's top.
    const auto pa = pixelOf(a, 3), pb = pixelOf(b, -3);
    const PickHit from = pass->snap(session->scene.get(), &camera, pa.first, pa.second, 8, target->frameBuffer());
    const PickHit to = pass->snap(session->scene.get(), &camera, pb.first, pb.second, 8, target->frameBuffer());
    ASSERT_TRUE(from.snapped && to.snapped);
    const Velda::MeasuredLength length = Velda::measureLength(from.point, to.point, scale, props->metresPerUnit);
    EXPECT_TRUE(length.metres);
    EXPECT_NEAR(length.value, 18.0, 0.001) << length.text();
    EXPECT_EQ(length.text(), "18.000 m");
    // Without a vertex near, the point is the surface's under the pixel.
    const PickHit plain = pass->pick(session->scene.get(), &camera, pa.first, pa.second, target->frameBuffer());
    EXPECT_GT(distance(plain.point, from.point), 1e-4f);
}
