#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace VeldaRender {

// What one run loaded, how long it took and how much memory it used.
struct RenderReport {
    uint64_t objects = 0;
    int64_t triangles = 0;
    uint64_t bundles = 0;
    uint64_t textures = 0;
    double msToIndex = 0, msToReady = 0, msFrame = 0;
    long peakKiB = 0;
    // Written only when set (shadow pass and per-pass timing).
    uint64_t shadowDraws = 0;
    std::map<std::string, double> passMs;
    std::map<std::string, uint32_t> drawCalls;  // per pass, of the last frame
    // What --pick and --measure found, one JSON text each.
    std::vector<std::string> probes;
};

// The report as one line of JSON, without a line feed. Keys: objects,
// triangles, bundles, textures, ms_to_index, ms_to_ready, ms_frame,
// peak_memory_kib, then shadow_draws, pass_ms and draw_calls when they are set.
std::string reportJson(const RenderReport& report);

// The process's peak resident memory so far, in KiB.
long peakMemoryKiB();

} // namespace VeldaRender
