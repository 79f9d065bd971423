#pragma once

namespace Velda {

// Samples asked for by every multisample target of the renderer.
const int kRequestedSamples = 8;

// The requested count, clamped to the smallest of the three driver limits
// (a limit of 0 or less is ignored), never below 1.
int clampSampleCount(int requested, int maxSamples, int maxColorTextureSamples, int maxDepthTextureSamples);

// Reads GL_MAX_SAMPLES, GL_MAX_COLOR_TEXTURE_SAMPLES and
// GL_MAX_DEPTH_TEXTURE_SAMPLES from the current context, clamps, and logs the
// number used. Needs a current context with GLEW initialised.
int multisampleCount(int requested = kRequestedSamples);

} // namespace Velda
