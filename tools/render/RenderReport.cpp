#include "RenderReport.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>
#include <sys/resource.h>

namespace VeldaRender {

namespace {
using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

// The writer refuses NaN and infinity, which would leave the line broken.
void number(Writer& w, double value)
{
    if (std::isfinite(value))
        w.Double(std::round(value * 1000) / 1000);  // the writer cuts decimals; round first
    else
        w.Null();
}
} // namespace

std::string reportJson(const RenderReport& report)
{
    rapidjson::StringBuffer buffer;
    Writer w(buffer);
    w.SetMaxDecimalPlaces(3);  // microseconds are noise here
    w.StartObject();
    w.Key("objects");
    w.Uint64(report.objects);
    w.Key("triangles");
    w.Int64(report.triangles);
    w.Key("bundles");
    w.Uint64(report.bundles);
    w.Key("textures");
    w.Uint64(report.textures);
    w.Key("ms_to_index");
    number(w, report.msToIndex);
    w.Key("ms_to_ready");
    number(w, report.msToReady);
    w.Key("ms_frame");
    number(w, report.msFrame);
    w.Key("peak_memory_kib");
    w.Int64(report.peakKiB);
    if (report.shadowDraws != 0) {
        w.Key("shadow_draws");
        w.Uint64(report.shadowDraws);
    }
    if (!report.passMs.empty()) {
        w.Key("pass_ms");
        w.StartObject();
        for (const auto& pass : report.passMs) {
            w.Key(pass.first.c_str(), static_cast<rapidjson::SizeType>(pass.first.size()));
            number(w, pass.second);
        }
        w.EndObject();
    }
    if (!report.drawCalls.empty()) {
        w.Key("draw_calls");
        w.StartObject();
        for (const auto& pass : report.drawCalls) {
            w.Key(pass.first.c_str(), static_cast<rapidjson::SizeType>(pass.first.size()));
            w.Uint(pass.second);
        }
        w.EndObject();
    }
    w.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize());
}

long peakMemoryKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;  // KiB on Linux
}

} // namespace VeldaRender
