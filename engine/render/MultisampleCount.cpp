#include "render/MultisampleCount.h"

#include "log/Log.h"

#include <GL/glew.h>

namespace Velda {

int clampSampleCount(int requested, int maxSamples, int maxColorTextureSamples, int maxDepthTextureSamples)
{
    int count = requested;
    for (int limit : {maxSamples, maxColorTextureSamples, maxDepthTextureSamples})
        if (limit > 0 && limit < count)
            count = limit;
    return count < 1 ? 1 : count;
}

int multisampleCount(int requested)
{
    GLint maxSamples = 0, maxColor = 0, maxDepth = 0;
    glGetIntegerv(GL_MAX_SAMPLES, &maxSamples);
    glGetIntegerv(GL_MAX_COLOR_TEXTURE_SAMPLES, &maxColor);
    glGetIntegerv(GL_MAX_DEPTH_TEXTURE_SAMPLES, &maxDepth);
    const int count = clampSampleCount(requested, maxSamples, maxColor, maxDepth);
    VLOG << "Multisample count : " << count << " (asked " << requested << ")";
    return count;
}

} // namespace Velda
