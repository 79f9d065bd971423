#pragma once

namespace Velda {

// The light of the day as a function of the outer dial's angle (pi is noon):
// sun and shade colours, night mix, glow, ambient and sun levels and the
// shadow lift, each piecewise linear between fixed knots.
struct DayCycle {
    float sunColor[3] = {};
    float shadeColor[3] = {};
    float nightMix = 1.0f;
    float glowColor[3] = {};
    float glowLevel = 0.0f;
    float ambientLevel = 0.0f;
    float sunLevel = 0.0f;
    float shadowLift = 0.0f;
    bool night = false;

    // With `constantLight` the levels are fixed and the colours of `previous`
    // stay as they were.
    static DayCycle at(float timeAngle, bool constantLight, const DayCycle& previous);
    // The 14 floats in the renderer's order.
    void store(float out[14]) const;
};

} // namespace Velda
