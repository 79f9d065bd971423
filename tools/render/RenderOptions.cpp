#include "RenderOptions.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>

namespace VeldaRender {

namespace {

// Larger than any frame buffer a driver of ours allows.
const int kMaxSide = 16384;

[[noreturn]] void fail(const std::string& why) { throw std::runtime_error(why); }

bool startsWith(const std::string& s, const std::string& prefix) { return s.compare(0, prefix.size(), prefix) == 0; }

bool endsWith(const std::string& s, const std::string& suffix)
{
    return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// The whole text must be the number: "12abc", " 12" and "" are refused.
bool toInt(const std::string& text, long& value)
{
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0])))
        return false;
    char* end = nullptr;
    errno = 0;
    value = std::strtol(text.c_str(), &end, 10);
    return errno == 0 && *end == '\0';
}

bool toFloat(const std::string& text, float& value)
{
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0])))
        return false;
    char* end = nullptr;
    errno = 0;
    value = std::strtof(text.c_str(), &end);
    return errno == 0 && *end == '\0' && std::isfinite(value);
}

int intInRange(const std::string& option, const std::string& text, long low, long high)
{
    long value = 0;
    if (!toInt(text, value) || value < low || value > high)
        fail(option + " takes a whole number from " + std::to_string(low) + " to " + std::to_string(high) +
             ", not \"" + text + "\"");
    return static_cast<int>(value);
}

float finiteFloat(const std::string& option, const std::string& text)
{
    float value = 0;
    if (!toFloat(text, value))
        fail(option + " takes a number of radians, not \"" + text + "\"");
    return value;
}

const std::string& nonEmpty(const std::string& option, const std::string& text)
{
    if (text.empty())
        fail(option + " takes a non-empty path");
    return text;
}

void parseSize(const std::string& text, RenderOptions& options)
{
    const size_t x = text.find('x');
    long w = 0, h = 0;
    if (x == std::string::npos || !toInt(text.substr(0, x), w) || !toInt(text.substr(x + 1), h) || w < 1 ||
        h < 1 || w > kMaxSide || h > kMaxSide)
        fail("--size takes WxH with each side from 1 to " + std::to_string(kMaxSide) + ", not \"" + text + "\"");
    options.width = static_cast<int>(w);
    options.height = static_cast<int>(h);
}

// "a,b,c": exactly `count` numbers.
std::vector<float> floatList(const std::string& option, const std::string& text, size_t count, const char* form)
{
    std::vector<float> values;
    size_t from = 0;
    while (values.size() < count) {
        const size_t comma = values.size() + 1 < count ? text.find(',', from) : text.size();
        float value = 0;
        if (comma == std::string::npos || !toFloat(text.substr(from, comma - from), value))
            fail(option + " takes " + form + ", not \"" + text + "\"");
        values.push_back(value);
        from = comma + 1;
    }
    return values;
}

void parseCamera(const std::string& text, RenderOptions& options)
{
    using Mode = RenderOptions::CameraMode;
    if (text == "overview") {
        options.camera = Mode::Overview;
        return;
    }
    if (text == "start") {
        options.camera = Mode::Start;
        return;
    }
    const std::vector<float> values = floatList("--camera", text, 6, "overview, start or X,Y,Z,TX,TY,TZ");
    for (int i = 0; i < 3; ++i) {
        options.eye[i] = values[i];
        options.target[i] = values[i + 3];
    }
    if (options.eye[0] == options.target[0] && options.eye[1] == options.target[1] &&
        options.eye[2] == options.target[2])
        fail("--camera: the eye and the target are the same point, so there is no direction to look");
    options.camera = Mode::Explicit;
}

void parseSection(const std::string& text, RenderOptions& options)
{
    const std::vector<float> v = floatList("--section", text, 6, "X0,Y0,Z0,X1,Y1,Z1");
    for (int i = 0; i < 3; ++i) {
        options.sectionMin[i] = std::min(v[i], v[i + 3]);
        options.sectionMax[i] = std::max(v[i], v[i + 3]);
    }
    options.hasSection = true;
}

void parsePixels(const std::string& option, const std::string& text, int* out, size_t count, const char* form)
{
    const std::vector<float> v = floatList(option, text, count, form);
    for (size_t i = 0; i < count; ++i) {
        if (v[i] < 0 || v[i] >= kMaxSide || v[i] != std::floor(v[i]))
            fail(option + " takes whole pixels, not \"" + text + "\"");
        out[i] = static_cast<int>(v[i]);
    }
}

std::vector<int32_t> idList(const std::string& option, const std::string& text)
{
    std::vector<int32_t> ids;
    size_t from = 0;
    while (from <= text.size()) {
        const size_t comma = std::min(text.find(',', from), text.size());
        long id = 0;
        if (!toInt(text.substr(from, comma - from), id) || id < INT32_MIN || id > INT32_MAX)
            fail(option + " takes object ids of the index, as 3,17,42, not \"" + text + "\"");
        ids.push_back(static_cast<int32_t>(id));
        from = comma + 1;
    }
    return ids;
}

void checkProject(const std::string& project)
{
    if (project.empty())
        fail("PROJECT is empty");
    if (project.find("://") == std::string::npos)
        return;  // a folder; the renderer says whether it holds a project
    if (!startsWith(project, "http://") && !startsWith(project, "https://") && !startsWith(project, "file:///"))
        fail("PROJECT address must begin with http://, https:// or file:///, not \"" + project + "\"");
    // The renderer appends file names to the root address.
    if (!endsWith(project, "pars=") && !endsWith(project, "/"))
        fail("PROJECT address must end in \"pars=\" or \"/\": \"" + project + "\"");
}

} // namespace

RenderOptions parseRenderOptions(int argc, char** argv)
{
    RenderOptions o;
    using Handler = std::function<void(const std::string&)>;
    const std::map<std::string, Handler> valued = {
        {"-o", [&](const std::string& v) { o.output = nonEmpty("-o", v); }},
        {"--size", [&](const std::string& v) { parseSize(v, o); }},
        {"--time-angle",
         [&](const std::string& v) {
             o.timeAngle = finiteFloat("--time-angle", v);
             o.hasTimeAngle = true;
         }},
        {"--azimuth",
         [&](const std::string& v) {
             o.azimuth = finiteFloat("--azimuth", v);
             o.hasAzimuth = true;
         }},
        {"--camera", [&](const std::string& v) { parseCamera(v, o); }},
        {"--bloom", [&](const std::string& v) { o.bloom = intInRange("--bloom", v, 0, 100); }},
        {"--cache", [&](const std::string& v) { o.cacheDir = nonEmpty("--cache", v); }},
        {"--shadow-quality", [&](const std::string& v) { o.shadowQuality = intInRange("--shadow-quality", v, 0, 3); }},
        {"--shadow-shade", [&](const std::string& v) { o.shadowShade = intInRange("--shadow-shade", v, 0, 100); }},
        {"--ssao", [&](const std::string& v) { o.ssao = intInRange("--ssao", v, 200, 300); }},
        {"--frames", [&](const std::string& v) { o.frames = intInRange("--frames", v, 1, 100000); }},
        {"--section", [&](const std::string& v) { parseSection(v, o); }},
        {"--hide", [&](const std::string& v) { o.hide = idList("--hide", v); }},
        {"--isolate", [&](const std::string& v) { o.isolate = idList("--isolate", v); }},
        {"--select", [&](const std::string& v) { o.select = idList("--select", v); }},
        {"--pick",
         [&](const std::string& v) {
             parsePixels("--pick", v, o.pick, 2, "X,Y");
             o.hasPick = true;
         }},
        {"--measure",
         [&](const std::string& v) {
             parsePixels("--measure", v, o.measure, 4, "X0,Y0,X1,Y1");
             o.hasMeasure = true;
         }},
    };
    const std::map<std::string, bool*> switches = {
        {"--white", &o.white}, {"--ortho", &o.ortho}, {"--report", &o.report}, {"--dial", &o.dial},
        {"--faithful", &o.faithful}};

    std::set<std::string> seen;
    bool haveProject = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a.empty() || a[0] != '-') {
            if (haveProject)
                fail("one PROJECT at a time: \"" + o.project + "\" and \"" + a + "\"");
            checkProject(a);
            o.project = a;
            haveProject = true;
            continue;
        }
        const auto v = valued.find(a);
        const auto s = switches.find(a);
        if (v == valued.end() && s == switches.end())
            fail("unknown option " + a);
        if (!seen.insert(a).second)
            fail(a + " given twice");
        if (s != switches.end()) {
            *s->second = true;
        } else {
            if (i + 1 >= argc)
                fail(a + " needs a value");
            v->second(argv[++i]);
        }
    }
    if (!haveProject)
        fail("no PROJECT given (a project folder or a root address)");
    if (o.output.empty())
        fail("no output file given (-o OUT.png)");
    return o;
}

bool wantsUsage(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-h" || a == "--help")
            return true;
    }
    return false;
}

std::string usage()
{
    return "usage: velda-render PROJECT -o OUT.png [--size WxH] [--time-angle RAD] [--azimuth RAD]\n"
           "                    [--white] [--ortho] [--camera overview|start|X,Y,Z,TX,TY,TZ]\n"
           "                    [--bloom 0-100] [--cache DIR] [--report]\n"
           "                    [--shadow-quality 0-3] [--shadow-shade 0-100] [--ssao 200-300]\n"
           "                    [--dial] [--frames N] [--faithful]\n"
           "                    [--section X0,Y0,Z0,X1,Y1,Z1] [--hide IDS] [--isolate IDS] [--select IDS]\n"
           "                    [--pick X,Y] [--measure X0,Y0,X1,Y1]\n"
           "Draws a project (a folder, or a root address ending in \"pars=\") to a PNG, with no window.\n"
           "  --size WxH         picture size (default 1024x700)\n"
           "  --time-angle RAD   the sun's place in the day, pi being noon (default: the viewer's start)\n"
           "  --azimuth RAD      the sun's direction (default: the viewer's start)\n"
           "  --white            white-model view\n"
           "  --ortho            orthographic camera\n"
           "  --camera MODE      overview (whole scene, default), start (the viewer's start view),\n"
           "                     or eye X,Y,Z and target TX,TY,TZ in scene units\n"
           "  --bloom 0-100      bloom slider (default 21)\n"
           "  --cache DIR        disk cache folder (default: the application data folder)\n"
           "  --report           print one JSON line of counts, times and peak memory\n"
           "  --shadow-quality   0 off, 1 low, 2 middle (default), 3 high\n"
           "  --shadow-shade     shadow slider (default 45)\n"
           "  --ssao 200-300     ambient occlusion slider (default 200)\n"
           "  --dial             draw the sun dial\n"
           "  --frames N         frames to draw before the picture is taken (default 1)\n"
           "  --faithful         every object through every pass, as specified (slower; same picture)\n"
           "  --section BOX      cut away what lies outside the box (two corners, scene units)\n"
           "  --hide IDS         hide these objects (ids of the index, as velda-inspect prints them)\n"
           "  --isolate IDS      hide every object but these\n"
           "  --select IDS       show these objects selected\n"
           "  --pick X,Y         print what lies under that pixel as one JSON line\n"
           "  --measure X0,Y0,X1,Y1  print the distance between the points under two pixels,\n"
           "                     each snapped to a vertex within 8 pixels, as one JSON line\n";
}

} // namespace VeldaRender
