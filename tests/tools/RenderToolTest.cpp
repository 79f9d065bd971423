// velda-render: its command line, report and PNG writer in process; the
// program itself as a subprocess with no X display; and properties of the
// pictures it draws of the packed samples.
#include "render/PngWriter.h"
#include "render/RenderOptions.h"
#include "render/RenderReport.h"

#include "Process.h"
#include "TempDir.h"

#include <FreeImage.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <stdexcept>

using VeldaRender::RenderOptions;
using VeldaTest::ProcessResult;
using VeldaTest::runProcess;
using VeldaTest::TempDir;

namespace {

RenderOptions parse(std::vector<std::string> args)
{
    args.insert(args.begin(), "velda-render");
    std::vector<char*> argv;
    for (std::string& a : args)
        argv.push_back(&a[0]);
    return VeldaRender::parseRenderOptions(static_cast<int>(argv.size()), argv.data());
}

// Size, bloom, shadow quality and shade, SSAO, frames.
std::vector<int> wholeNumbers(const RenderOptions& o)
{
    return {o.width, o.height, o.bloom, o.shadowQuality, o.shadowShade, o.ssao, o.frames};
}

std::vector<unsigned char> fileBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {});
}

// --- Pictures -------------------------------------------------------------

struct Rgb {
    double r = 0, g = 0, b = 0;
};

// Top-down RGB rows of a PNG.
struct Picture {
    int width = 0, height = 0;
    std::vector<unsigned char> rgb;
    const unsigned char* at(int x, int y) const { return &rgb[(static_cast<size_t>(y) * width + x) * 3]; }
};

Picture loadPicture(const std::string& path)
{
    FreeImage_Initialise(FALSE);
    std::unique_ptr<FIBITMAP, void (*)(FIBITMAP*)> loaded(FreeImage_Load(FIF_PNG, path.c_str(), 0), FreeImage_Unload);
    if (!loaded)
        throw std::runtime_error("cannot read " + path);
    std::unique_ptr<FIBITMAP, void (*)(FIBITMAP*)> image(FreeImage_ConvertTo24Bits(loaded.get()), FreeImage_Unload);
    Picture p;
    p.width = static_cast<int>(FreeImage_GetWidth(image.get()));
    p.height = static_cast<int>(FreeImage_GetHeight(image.get()));
    for (int y = 0; y < p.height; ++y) {
        const BYTE* line = FreeImage_GetScanLine(image.get(), p.height - 1 - y);  // stored bottom-up
        for (const BYTE* pixel = line; pixel < line + p.width * 3; pixel += 3)
            p.rgb.insert(p.rgb.end(), {pixel[FI_RGBA_RED], pixel[FI_RGBA_GREEN], pixel[FI_RGBA_BLUE]});
    }
    return p;
}

// A part of the frame in fractions of its width and height.
struct Region {
    double x0, y0, x1, y1;
};
const Region kWhole = {0, 0, 1, 1};
const Region kTopBand = {0, 0, 1, 0.12};
const Region kMiddle = {0.35, 0.35, 0.65, 0.65};

template <typename F>
void forEachPixel(const Picture& p, Region r, F f)
{
    for (int y = static_cast<int>(r.y0 * p.height); y < static_cast<int>(r.y1 * p.height); ++y)
        for (int x = static_cast<int>(r.x0 * p.width); x < static_cast<int>(r.x1 * p.width); ++x)
            f(x, y);
}

Rgb meanColour(const Picture& p, Region r)
{
    Rgb sum;
    size_t n = 0;
    forEachPixel(p, r, [&](int x, int y) {
        sum.r += p.at(x, y)[0], sum.g += p.at(x, y)[1], sum.b += p.at(x, y)[2];
        ++n;
    });
    return {sum.r / n, sum.g / n, sum.b / n};
}

double luminance(Rgb c) { return 0.2126 * c.r + 0.7152 * c.g + 0.0722 * c.b; }

// Share of the region's pixels whose colour differs from the given one by
// more than the threshold in some channel.
double unlikeShare(const Picture& p, Region r, Rgb colour, double threshold)
{
    size_t unlike = 0, n = 0;
    forEachPixel(p, r, [&](int x, int y) {
        const unsigned char* c = p.at(x, y);
        unlike += std::fabs(c[0] - colour.r) > threshold || std::fabs(c[1] - colour.g) > threshold ||
                  std::fabs(c[2] - colour.b) > threshold;
        ++n;
    });
    return static_cast<double>(unlike) / n;
}

// Share of the region's pixels that differ between two pictures by more
// than the threshold in some channel.
double differingShare(const Picture& a, const Picture& b, Region r, int threshold)
{
    size_t differ = 0, n = 0;
    forEachPixel(a, r, [&](int x, int y) {
        for (int c = 0; c < 3; ++c)
            if (std::abs(a.at(x, y)[c] - b.at(x, y)[c]) > threshold) {
                ++differ;
                break;
            }
        ++n;
    });
    return static_cast<double>(differ) / n;
}

// --- The program ----------------------------------------------------------

const std::string kRender = VELDA_RENDER_PATH;
const std::string kSamples = SAMPLES_PATH;

size_t lineCount(const std::string& text)
{
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

// Runs velda-render with no display to reach: it must need none.
class RenderRun : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        unsetenv("DISPLAY");
        unsetenv("WAYLAND_DISPLAY");
    }

    ProcessResult run(std::vector<std::string> args)
    {
        args.insert(args.begin(), kRender);
        return runProcess(args);
    }

    // Draws PROJECT with the extra options once per test program; the same
    // line later returns the same picture.
    const Picture& picture(const std::string& project, const std::vector<std::string>& extra)
    {
        static TempDir folder;
        static std::map<std::string, Picture> drawn;
        std::string key = project;
        for (const std::string& e : extra)
            key += " " + e;
        auto found = drawn.find(key);
        if (found == drawn.end()) {
            // Each picture has a cache of its own, so that none is drawn from
            // another project's files.
            const std::string name = std::to_string(drawn.size());
            const std::string out = folder.file(name + ".png");
            std::vector<std::string> args = {project, "-o", out, "--cache", folder.file(name + "-cache")};
            args.insert(args.end(), extra.begin(), extra.end());
            const ProcessResult r = run(args);
            if (r.exitCode != 0)
                throw std::runtime_error(key + ": " + r.err);
            found = drawn.emplace(key, loadPicture(out)).first;
        }
        return found->second;
    }

    TempDir temp_;
};

} // namespace

// --- Command line -----------------------------------------------------------

TEST(RenderOptionsTest, DefaultsEveryOptionAndCameraModes)
{
    const RenderOptions d = parse({"house", "-o", "out.png"});
    EXPECT_EQ(wholeNumbers(d), (std::vector<int>{1024, 700, 21, 2, 45, 200, 1}));
    EXPECT_FALSE(d.hasTimeAngle || d.hasAzimuth || d.white || d.ortho || d.report || d.dial);
    EXPECT_EQ(d.camera, RenderOptions::CameraMode::Overview);

    const RenderOptions o = parse({"--size", "640x480", "--time-angle", "-1.5", "--azimuth", "6.5e-1", "--white",
                                   "--ortho", "--bloom", "0", "--cache", "/tmp/c", "--report", "--shadow-quality", "3",
                                   "--shadow-shade", "100", "--ssao", "300", "--dial", "--frames", "4", "-o", "a.png",
                                   "--camera", "1,-2,3.5,0,0,1e-1", "http://127.0.0.1:18080/file?pars="});
    EXPECT_EQ(o.project, "http://127.0.0.1:18080/file?pars=");
    EXPECT_EQ(wholeNumbers(o), (std::vector<int>{640, 480, 0, 3, 100, 300, 4}));
    EXPECT_TRUE(o.hasTimeAngle && o.hasAzimuth && o.white && o.ortho && o.report && o.dial);
    EXPECT_FLOAT_EQ(o.timeAngle, -1.5f);
    EXPECT_FLOAT_EQ(o.azimuth, 0.65f);
    EXPECT_EQ(o.camera, RenderOptions::CameraMode::Explicit);
    EXPECT_FLOAT_EQ(o.eye[2], 3.5f);
    EXPECT_FLOAT_EQ(o.target[2], 0.1f);
    EXPECT_EQ(parse({"p", "-o", "x", "--camera", "start"}).camera, RenderOptions::CameraMode::Start);
}

TEST(RenderOptionsTest, BadLinesAreRefusedWithOneLineNamingTheFault)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> bad = {
        {{"p", "-o", "x", "--bogus"}, "--bogus"},
        {{"p", "-o"}, "-o needs a value"},
        {{"-o", "x"}, "PROJECT"},
        {{"p"}, "-o"},
        {{"p", "-o", "x", "--white", "--white"}, "twice"},
        {{"p", "-o", "x", "--size", "1024x"}, "--size"},
        {{"p", "-o", "x", "--size", "16385x10"}, "--size"},
        {{"p", "-o", "x", "--bloom", "2.5"}, "--bloom"},
        {{"p", "-o", "x", "--bloom", "99999999999999999999"}, "--bloom"},
        {{"p", "-o", "x", "--ssao", "199"}, "--ssao"},
        {{"p", "-o", "x", "--time-angle", "nan"}, "--time-angle"},
        {{"p", "-o", "x", "--camera", "1,2,3,4,5,x"}, "--camera"},
        {{"p", "-o", "x", "--camera", "1,2,3,1,2,3"}, "same point"},
        {{"file://relative/", "-o", "x"}, "file:///"},
        {{"http://host/project", "-o", "x"}, "pars="},
    };
    for (const auto& line : bad) {
        try {
            parse(line.first);
            ADD_FAILURE() << "accepted: " << line.first.back();
        } catch (const std::runtime_error& e) {
            const std::string why = e.what();
            EXPECT_NE(why.find(line.second), std::string::npos) << why;
            EXPECT_EQ(why.find('\n'), std::string::npos) << why;
        }
    }
}

// --- Report and PNG -------------------------------------------------------

TEST(RenderReportTest, OneJsonLineWithOptionalPartsOnlyWhenSet)
{
    VeldaRender::RenderReport report;
    report.triangles = 5000000000;  // beyond 32 bits
    rapidjson::Document json;
    std::string line = VeldaRender::reportJson(report);
    ASSERT_FALSE(json.Parse(line.c_str()).HasParseError()) << line;
    EXPECT_EQ(json["triangles"].GetInt64(), 5000000000);
    EXPECT_FALSE(json.HasMember("shadow_draws") || json.HasMember("pass_ms")) << line;

    report.shadowDraws = 7;
    report.passMs = {{"bloom \"pyramid\"", 1}};
    report.msToReady = std::nan("");
    line = VeldaRender::reportJson(report);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    ASSERT_FALSE(json.Parse(line.c_str()).HasParseError()) << line;
    EXPECT_EQ(json["shadow_draws"].GetUint64(), 7u);
    EXPECT_DOUBLE_EQ(json["pass_ms"]["bloom \"pyramid\""].GetDouble(), 1.0);
    EXPECT_TRUE(json["ms_to_ready"].IsNull());
}

TEST(PngWriterTest, TopRowFirstOpaqueAndRefusals)
{
    TempDir dir;
    const int w = 3, h = 2;
    std::vector<unsigned char> rgba(w * h * 4, 0);
    rgba[0] = 255;  // top left red, with alpha 0 that must not show
    rgba[(w * 1 + 2) * 4 + 2] = 200;  // bottom right blue
    VeldaRender::writePng(dir.file("a.png"), w, h, rgba);
    const Picture p = loadPicture(dir.file("a.png"));
    ASSERT_EQ(p.width, w);
    ASSERT_EQ(p.height, h);
    EXPECT_EQ(p.at(0, 0)[0], 255);
    EXPECT_EQ(p.at(2, 1)[2], 200);
    EXPECT_EQ(p.at(2, 0)[2], 0);

    EXPECT_THROW(VeldaRender::writePng(dir.file("no/such/folder/a.png"), w, h, rgba), std::runtime_error);
    EXPECT_THROW(VeldaRender::writePng(dir.file("b.png"), w, h + 1, rgba), std::runtime_error);
    EXPECT_FALSE(VeldaTest::exists(dir.file("b.png")));
}

// --- The program, with no display -------------------------------------------

TEST_F(RenderRun, BadInputGivesExitOneAndOneLine)
{
    const std::string out = temp_.file("x.png");
    const std::vector<std::vector<std::string>> lines = {
        {kSamples + "/fzk-haus", "-o", out, "--bogus"},
        {kSamples + "/fzk-haus", "-o", out, "--size", "10x"},
        {temp_.file("missing"), "-o", out},
        {temp_.path(), "-o", out},  // a folder with no index
    };
    for (const auto& line : lines) {
        const ProcessResult r = run(line);
        EXPECT_TRUE(r.exited) << line[0] << " " << line.back();
        EXPECT_EQ(r.exitCode, 1) << r.err;
        EXPECT_EQ(lineCount(r.err), 1u) << r.err;
        EXPECT_EQ(r.err.rfind("velda-render: ", 0), 0u) << r.err;
        EXPECT_EQ(r.out, "");
        EXPECT_FALSE(VeldaTest::exists(out));
    }
    const ProcessResult help = run({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("usage: velda-render"), std::string::npos);
}

TEST_F(RenderRun, HouseGivesOnePictureAndOneReportLineTheSameEachTime)
{
    std::vector<unsigned char> first;
    for (int i = 0; i < 2; ++i) {
        const std::string out = temp_.file("house" + std::to_string(i) + ".png");
        const ProcessResult r =
            run({kSamples + "/fzk-haus", "-o", out, "--report", "--cache", temp_.file("cache")});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        ASSERT_EQ(lineCount(r.out), 1u) << r.out;
        rapidjson::Document json;
        ASSERT_FALSE(json.Parse(r.out.c_str()).HasParseError()) << r.out;
        for (const char* key : {"objects", "triangles", "bundles", "textures", "ms_to_index", "ms_to_ready", "ms_frame",
                                "peak_memory_kib"})
            EXPECT_TRUE(json.HasMember(key)) << key;
        EXPECT_GT(json["peak_memory_kib"].GetInt64(), 0);
        const Picture p = loadPicture(out);
        EXPECT_EQ(p.width, 1024);
        EXPECT_EQ(p.height, 700);
        if (i == 0)
            first = fileBytes(out);
        else
            EXPECT_EQ(fileBytes(out), first) << "the same command drew a different picture";
    }
    const Picture small = picture(kSamples + "/fzk-haus", {"--size", "320x200"});
    EXPECT_EQ(small.width, 320);
    EXPECT_EQ(small.height, 200);
}

// --- What the pictures show -------------------------------------------------
// With bloom on, the composition exposes each pixel by its own brightness
// and adds the blurred bright picture, which is white wherever the scene is
// below the threshold: the whole frame comes out pale, and a night frame
// white. Colours of the lit scene are therefore looked at with bloom off,
// where the composition copies the scene as it is.

TEST_F(RenderRun, SkyFillsTheTop)
{
    const Picture& house = picture(kSamples + "/fzk-haus", {"--bloom", "0"});
    const Rgb sky = meanColour(house, kTopBand);
    EXPECT_GT(sky.b, sky.r) << "a day sky is bluish";
    EXPECT_LT(unlikeShare(house, kTopBand, sky, 40), 0.05) << "something stands in the top band";
}

TEST_F(RenderRun, HouseFillsTheMiddleUnlikeTheSky)
{
    const Picture& house = picture(kSamples + "/fzk-haus", {});
    EXPECT_GT(unlikeShare(house, kMiddle, meanColour(house, kTopBand), 40), 0.5);
}

TEST_F(RenderRun, WhiteChangesTheHouseNotTheSky)
{
    const Picture& textured = picture(kSamples + "/fzk-haus", {});
    const Picture& white = picture(kSamples + "/fzk-haus", {"--white"});
    EXPECT_GT(differingShare(textured, white, kMiddle, 16), 0.2);
    EXPECT_LT(differingShare(textured, white, kTopBand, 16), 0.02);
}

TEST_F(RenderRun, MidnightIsDarkerAndBluerThanNoon)
{
    const Picture& noon = picture(kSamples + "/fzk-haus", {"--time-angle", "3.1415926", "--bloom", "0"});
    const Picture& midnight = picture(kSamples + "/fzk-haus", {"--time-angle", "0", "--bloom", "0"});
    EXPECT_GT(luminance(meanColour(noon, kWhole)), 1.3 * luminance(meanColour(midnight, kWhole)));
    // The night's sun colour (24, 27, 66) is blue; noon's is near white.
    const Rgb n = meanColour(noon, kMiddle), m = meanColour(midnight, kMiddle);
    EXPECT_GT(m.b / std::max(m.r, 1.0), n.b / std::max(n.r, 1.0));
}

TEST_F(RenderRun, MilkTruckTextureShows)
{
    // A copy of the truck whose texture is one flat colour: if the texture
    // shows, the two pictures differ on the truck.
    const std::string copy = temp_.file("flat-truck");
    ASSERT_EQ(std::system(("cp -r '" + kSamples + "/milk-truck' '" + copy + "'").c_str()), 0);
    const std::string texture = copy + "/texs/CesiumMilkTruck.png";
    FreeImage_Initialise(FALSE);
    const FREE_IMAGE_FORMAT format = FreeImage_GetFileType(texture.c_str(), 0);
    FIBITMAP* image = FreeImage_Load(format, texture.c_str(), 0);
    ASSERT_NE(image, nullptr) << texture;
    RGBQUAD grey = {128, 128, 128, 255};
    for (unsigned y = 0; y < FreeImage_GetHeight(image); ++y)
        for (unsigned x = 0; x < FreeImage_GetWidth(image); ++x)
            FreeImage_SetPixelColor(image, x, y, &grey);
    ASSERT_TRUE(FreeImage_Save(format, image, texture.c_str(), 0));
    FreeImage_Unload(image);

    const Picture& textured = picture(kSamples + "/milk-truck", {"--bloom", "0"});
    const Picture& flat = picture(copy, {"--bloom", "0"});
    EXPECT_GT(differingShare(textured, flat, kMiddle, 16), 0.05);
}

TEST_F(RenderRun, OrthoChangesTheProjection)
{
    const Picture& perspective = picture(kSamples + "/fzk-haus", {});
    const Picture& ortho = picture(kSamples + "/fzk-haus", {"--ortho"});
    EXPECT_GT(differingShare(perspective, ortho, kWhole, 16), 0.1);
    // The sunlit roof fills the middle: near the white sky, but not within 24 levels of it.
    EXPECT_GT(unlikeShare(ortho, kMiddle, meanColour(perspective, kTopBand), 24), 0.3) << "the house left the middle";
}

// --- Light and atmosphere -----------------------------------------------------

// Share of the region's pixels that are darker in `a` than in `b` by more
// than the threshold in luminance.
double darkerShare(const Picture& a, const Picture& b, Region r, double threshold)
{
    size_t darker = 0, n = 0;
    forEachPixel(a, r, [&](int x, int y) {
        const unsigned char* p = a.at(x, y);
        const unsigned char* q = b.at(x, y);
        const double la = luminance({double(p[0]), double(p[1]), double(p[2])});
        const double lb = luminance({double(q[0]), double(q[1]), double(q[2])});
        darker += la + threshold < lb;
        ++n;
    });
    return static_cast<double>(darker) / n;
}

const Region kAroundHouse = {0.15, 0.3, 0.85, 1.0};

TEST_F(RenderRun, TheHouseCastsItsShadowAndTheShadeMixesIt)
{
    const std::vector<std::string> noon = {"--time-angle", "3.1415926"};
    auto with = [&](std::vector<std::string> extra) {
        extra.insert(extra.end(), noon.begin(), noon.end());
        return extra;
    };
    const Picture& shadowed = picture(kSamples + "/fzk-haus", with({}));
    const Picture& unshadowed = picture(kSamples + "/fzk-haus", with({"--shadow-quality", "0"}));
    EXPECT_GT(darkerShare(shadowed, unshadowed, kAroundHouse, 12), 0.01) << "no shadow beside the house";
    EXPECT_LT(darkerShare(unshadowed, shadowed, kWhole, 12), 0.001);

    // Full shade removes the shadow; none leaves it at full strength.
    const Picture& none = picture(kSamples + "/fzk-haus", with({"--shadow-shade", "100"}));
    const Picture& full = picture(kSamples + "/fzk-haus", with({"--shadow-shade", "0"}));
    EXPECT_LT(differingShare(none, unshadowed, kWhole, 2), 0.001);
    EXPECT_GT(darkerShare(full, shadowed, kAroundHouse, 4), 0.005);
}

TEST_F(RenderRun, OcclusionDarkensCornersAndLeavesTheSky)
{
    const Picture& plain = picture(kSamples + "/fzk-haus", {"--bloom", "0"});
    const Picture& occluded = picture(kSamples + "/fzk-haus", {"--bloom", "0", "--ssao", "300"});
    EXPECT_GT(darkerShare(occluded, plain, kAroundHouse, 8), 0.05);
    EXPECT_LT(darkerShare(plain, occluded, kWhole, 8), 0.001) << "occlusion only darkens";
    EXPECT_LT(differingShare(plain, occluded, kTopBand, 2), 0.001) << "the open sky changed";
}

TEST_F(RenderRun, DialStandsInTheLowerRightCornerOnly)
{
    const Picture& plain = picture(kSamples + "/fzk-haus", {});
    const Picture& dial = picture(kSamples + "/fzk-haus", {"--dial"});
    // The ring is 134 pixels wide, 20 from the right and 16 from the bottom.
    const Region ring = {(1024.0 - 154) / 1024, (700.0 - 150) / 700, (1024.0 - 20) / 1024, (700.0 - 16) / 700};
    EXPECT_GT(differingShare(plain, dial, ring, 16), 0.3);
    size_t outside = 0;
    forEachPixel(plain, kWhole, [&](int x, int y) {
        if (x >= 1024 - 154 && x < 1024 - 20 && y >= 700 - 150 && y < 700 - 16)
            return;
        for (int c = 0; c < 3; ++c)
            outside += plain.at(x, y)[c] != dial.at(x, y)[c];
    });
    EXPECT_EQ(outside, 0u);
}

TEST_F(RenderRun, BloomChangesTheBrightParts)
{
    const Picture& off = picture(kSamples + "/fzk-haus", {"--bloom", "0"});
    const Picture& on = picture(kSamples + "/fzk-haus", {"--bloom", "21"});
    EXPECT_GT(differingShare(off, on, kWhole, 16), 0.5);
    EXPECT_GT(luminance(meanColour(on, kMiddle)), luminance(meanColour(off, kMiddle)));
}

// The viewer's start view is the overview of the whole house; the faithful
// path keeps the specified one, one unit above the centre and inside the
// house, a picture of another kind.
TEST_F(RenderRun, StartViewIsTheOverviewAndFaithfulKeepsTheSpecifiedOne)
{
    const Picture& overview = picture(kSamples + "/fzk-haus", {"--bloom", "0"});
    const Picture& start = picture(kSamples + "/fzk-haus", {"--bloom", "0", "--camera", "start"});
    EXPECT_LT(differingShare(overview, start, kWhole, 2), 0.001);
    const Picture& specified = picture(kSamples + "/fzk-haus", {"--bloom", "0", "--camera", "start", "--faithful"});
    EXPECT_GT(differingShare(overview, specified, kMiddle, 16), 0.5);
}
