#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace VeldaRender {

// What one velda-render run is asked to draw. Angles are radians; the eye
// and target of an explicit camera are in scene units (after the 10-unit
// scaling).
struct RenderOptions {
    enum class CameraMode { Overview, Start, Explicit };

    std::string project;  // a project folder, or a root address ending in "pars=" or "/"
    std::string output;
    int width = 1024, height = 700;
    bool hasTimeAngle = false;  // false: the viewer's start value
    float timeAngle = 0;
    bool hasAzimuth = false;  // false: the viewer's start value
    float azimuth = 0;
    bool white = false, ortho = false;
    CameraMode camera = CameraMode::Overview;
    float eye[3] = {}, target[3] = {};
    int bloom = 21;        // the slider's integer, 0 to 100
    std::string cacheDir;  // empty: the application data folder
    bool report = false;
    int shadowQuality = 2;  // 0 to 3
    int shadowShade = 45;   // 0 to 100
    int ssao = 200;         // 200 to 300
    bool dial = false;
    int frames = 1;
    bool faithful = false;  // the specified path: every item through every pass

    // The review tools. Objects by their id in the project's index.
    bool hasSection = false;
    float sectionMin[3] = {}, sectionMax[3] = {};  // scene units
    std::vector<int32_t> hide, isolate, select;
    bool hasPick = false;
    int pick[2] = {};  // pixel, from the top left
    bool hasMeasure = false;
    int measure[4] = {};  // two pixels
};

// Reads the command line (argv[0] is the program). Throws std::runtime_error
// with a one-line reason on an unknown or repeated option, a missing value,
// a number out of range, a malformed size, camera or address, or a missing
// PROJECT or -o.
RenderOptions parseRenderOptions(int argc, char** argv);

// True when the command line asks for the usage text (-h or --help).
bool wantsUsage(int argc, char** argv);

// The usage text, several lines ending in a line feed.
std::string usage();

} // namespace VeldaRender
