#pragma once

#include "PackScene.h"

#include <cstdint>

namespace VeldaPack {

struct SynthOptions {
    uint32_t buildings = 100;
    uint32_t seed = 1;
    uint32_t detail = 1;  // wall pieces a storey and side: more makes larger projects
};

// A generated city for scale tests: buildings on a street grid, each a
// textured facade and a glass band (blended), on a textured ground beside a
// river (a material named with 水). Two objects a building, plus ground and
// water. Texture names hold blanks and Chinese characters on purpose.
PackScene synthCity(const SynthOptions& options);

} // namespace VeldaPack
