#include "render/DayCycle.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace Velda {

namespace {

// Knot positions are multiples of pi / 8 taken from the float pi the dial
// uses, so that a dial angle lands exactly on a knot.
double knot(double units)
{
    return static_cast<double>(static_cast<float>(units) * (3.1415925f / 8.0f));
}

// Piecewise linear through (knot units, value) pairs; constant outside.
double curve(double a, std::initializer_list<std::pair<double, double>> points)
{
    const std::pair<double, double>* p = points.begin();
    const std::size_t n = points.size();
    if (a <= knot(p[0].first))
        return p[0].second;
    for (std::size_t i = 1; i < n; ++i) {
        const double x0 = knot(p[i - 1].first);
        const double x1 = knot(p[i].first);
        if (a <= x1)
            return p[i - 1].second + (p[i].second - p[i - 1].second) * (a - x0) / (x1 - x0);
    }
    return p[n - 1].second;
}

struct ColorKnot {
    double units;
    float sun[3];
    float shade[3];
};

const ColorKnot kColorKnots[] = {
    {2, {24, 27, 66}, {5, 12, 15.5f}},
    {3, {14.5f, 19.5f, 40.75f}, {14.5f, 19.5f, 40.75f}},
    {4, {170, 181, 220}, {9, 10, 15}},
    {6, {198, 209, 240}, {16, 22, 21}},
    {10, {244, 255, 220}, {25, 27, 31}},
    {12, {190, 120, 70}, {9.5f, 5, 11}},
    {13, {14.5f, 19.5f, 40.75f}, {14.5f, 19.5f, 40.75f}},
    {14, {24, 27, 66}, {5, 12, 15.5f}},
};

void colorsAt(double a, float sun[3], float shade[3])
{
    const std::size_t n = sizeof kColorKnots / sizeof kColorKnots[0];
    std::size_t hi = 0;
    while (hi < n && a > knot(kColorKnots[hi].units))
        ++hi;
    std::size_t lo = hi == 0 ? 0 : hi - 1;
    if (hi == n)
        hi = lo = 0;  // past the last knot: back to the first row, which equals the last
    double t = 0.0;
    if (hi != lo) {
        const double x0 = knot(kColorKnots[lo].units);
        const double x1 = knot(kColorKnots[hi].units);
        t = (a - x0) / (x1 - x0);
    }
    for (int c = 0; c < 3; ++c) {
        const double s = kColorKnots[lo].sun[c] + (kColorKnots[hi].sun[c] - kColorKnots[lo].sun[c]) * t;
        const double d = kColorKnots[lo].shade[c] + (kColorKnots[hi].shade[c] - kColorKnots[lo].shade[c]) * t;
        sun[c] = static_cast<float>(s / 255.0);
        shade[c] = static_cast<float>(d / 255.0);
    }
}

} // namespace

DayCycle DayCycle::at(float timeAngle, bool constantLight, const DayCycle& previous)
{
    DayCycle d;
    d.glowColor[0] = 1.0f;
    d.glowColor[1] = 0.8901961f;
    d.glowColor[2] = 0.34509805f;
    d.night = previous.night;
    if (constantLight) {
        std::copy(previous.sunColor, previous.sunColor + 3, d.sunColor);
        std::copy(previous.shadeColor, previous.shadeColor + 3, d.shadeColor);
        d.glowLevel = d.ambientLevel = d.sunLevel = 1.0f;
        d.shadowLift = 0.0f;
        d.nightMix = 1.0f;
        return d;
    }
    const double a = timeAngle;
    d.shadowLift = static_cast<float>(curve(a, {{2, 0}, {3, 1}, {5, 0}, {11, 0}, {13, 1}, {14, 0}}));
    d.sunLevel = static_cast<float>(curve(a, {{5, 1.0}, {7, 1.3}, {9, 1.3}, {11, 1.0}}));
    d.ambientLevel = static_cast<float>(curve(a, {{3, 0.3}, {5, 1.0}, {11, 1.0}, {13, 0.3}}));
    const double dusk = knot(3);
    const double dawnEnd = knot(13);
    if (a > dusk && a <= dawnEnd) {
        d.night = false;
        d.nightMix = 0.0f;
        d.glowLevel = static_cast<float>(curve(a, {{3, 0.1}, {6, 1.0}, {10, 1.0}, {13, 0.1}}));
    } else {
        d.night = true;
        d.glowLevel = 0.1f;
        const double mix = a <= dusk ? 1.0 - a / dusk : (a - dawnEnd) / dusk;
        // Past two pi (or below zero) the mix would run beyond full night.
        d.nightMix = static_cast<float>(std::min(1.0, std::max(0.0, mix)));
    }
    colorsAt(a, d.sunColor, d.shadeColor);
    return d;
}

void DayCycle::store(float out[14]) const
{
    std::copy(sunColor, sunColor + 3, out);
    std::copy(shadeColor, shadeColor + 3, out + 3);
    out[6] = nightMix;
    std::copy(glowColor, glowColor + 3, out + 7);
    out[10] = glowLevel;
    out[11] = ambientLevel;
    out[12] = sunLevel;
    out[13] = shadowLift;
}

} // namespace Velda
